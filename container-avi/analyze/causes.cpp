#include "avirules.h"

namespace quenlofar {

namespace {

// Bytes that are missing or cannot be read.
constexpr QStringView lostBytes[] = {
    u"riff-beyond-file",    u"size-open",      u"last-chunk-cut", u"segment-missing",   u"foreign-bytes",
    u"zero-bytes",          u"pad-missing",    u"movi-stale",     u"undeclared-stream", u"chunk-swallows-others",
    u"child-beyond-parent", u"riff-too-short",
};
// What counts chunks or bytes, or points at them.
constexpr QStringView countsAndIndexes[] = {
    u"frame-count",         u"total-frame-count",
    u"stream-length",       u"stream-empty",
    u"durations-differ",    u"interleave-distance",
    u"interleave-flag",     u"super-duration",
    u"idx1-size",           u"idx1-base",
    u"idx1-base-unknown",   u"idx1-no-such-chunk",
    u"idx1-chunk-size",     u"idx1-chunk-not-indexed",
    u"idx1-duplicate",      u"idx1-order",
    u"idx1-no-key-frame",   u"idx1-first-not-key",
    u"super-no-such-index", u"super-entry-size",
    u"std-no-such-chunk",   u"std-base-beyond-file",
    u"std-chunk-size",      u"odml-chunk-not-indexed",
    u"indexes-differ",      u"std-span",
    u"field-offset",        u"index-entry-count",
    u"raw-frame-size",      u"pcm-chunk-align",
    u"dv-frame-size",       u"avix-without-indx",
};
// A file that ends early or was never closed has no index at its end.
constexpr QStringView earlyEnd[] = {u"riff-beyond-file", u"size-open", u"last-chunk-cut", u"segment-missing"};
constexpr QStringView absentIndex[] = {u"index-missing", u"index-flag-without-index"};

constexpr QStringView noTimeBase[] = {u"time-base-zero", u"sample-size", u"block-align-zero"};
constexpr QStringView times[] = {u"stream-length", u"byte-rate", u"frame-duration", u"durations-differ"};

constexpr QStringView wrongBase[] = {u"idx1-base", u"idx1-base-unknown"};
constexpr QStringView legacyEntries[] = {
    u"idx1-no-such-chunk",   u"idx1-chunk-size",    u"idx1-chunk-not-indexed",
    u"idx1-duplicate",       u"idx1-order",         u"idx1-no-key-frame",
    u"idx1-first-not-key",   u"idx1-list-flag",     u"idx1-key-flag-differs",
    u"idx1-empty-key-frame", u"idx1-audio-not-key", u"idx1-beyond-first-riff",
    u"indexes-differ",
};

constexpr QStringView wrongStandardIndex[] = {u"std-base-beyond-file", u"std-no-such-chunk", u"super-no-such-index"};
constexpr QStringView notIndexed[] = {u"odml-chunk-not-indexed", u"super-duration"};

constexpr CauseRow rows[] = {
    {lostBytes, countsAndIndexes, CauseScope::Concerned},
    {earlyEnd, absentIndex, CauseScope::File},
    {noTimeBase, times, CauseScope::Stream},
    {wrongBase, legacyEntries, CauseScope::File},
    {wrongStandardIndex, notIndexed, CauseScope::Stream},
};

} // namespace

CauseRows aviCauses()
{
    return rows;
}

} // namespace quenlofar
