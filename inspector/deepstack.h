#pragma once

#include <QtGlobal>

#include <functional>

/// The deepest nesting that a thread's stack can be asked for.
inline constexpr quint64 deepestNesting = 1'000'000;

/**
 * Calls `work` where elements may nest `levels` deep: here, if the stack of an ordinary process is enough for them,
 * otherwise on a thread of its own with a larger one. Returns 0 when `work` was called, or an error number; what `work`
 * throws comes out here.
 */
int callWithRoomFor(quint64 levels, const std::function<void()> &work);
