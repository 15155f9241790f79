#pragma once

#include <QtGlobal>

#include <functional>

/**
 * Calls `work` `count` times side by side, each time where elements may nest `levels` deep, and returns when all have
 * ended. One call with few levels happens here, on an ordinary stack; all others on threads of their own. Returns 0, or
 * an error number when not even one thread could be started. What `work` throws comes out here, once.
 */
int callSideBySide(quint64 count, quint64 levels, const std::function<void()> &work);
