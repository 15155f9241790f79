#include "avirules.h"

namespace quenlofar {

namespace {

// A finding hangs below another where it would not be there had that damage not happened. Findings looks for the first
// such one in the order of evaluation, so each has one cause at most.

// Bytes that are missing or cannot be read, or stand elsewhere than they should.
constexpr QStringView lostBytes[] = {
    u"riff-missing",
    u"riff-beyond-file",
    u"riff-too-short",
    u"size-open",
    u"size-wrapped",
    u"last-chunk-cut",
    u"segment-missing",
    u"foreign-bytes",
    u"zero-bytes",
    u"pad-missing",
    u"child-beyond-parent",
    u"hdrl-missing",
    u"movi-stale",
    u"movi-count",
    u"fourcc-not-ascii",
    u"undeclared-stream",
    u"chunk-kind",
    u"chunk-swallows-others",
    u"list-in-movi",
    // A second file behind the first one: what is counted is the data of both.
    u"riff-later-form",
};
// What counts chunks or bytes, or points at them.
constexpr QStringView countsAndIndexes[] = {
    u"frame-count",
    u"total-frame-count",
    u"buffer-too-small",
    u"stream-length",
    u"stream-buffer-too-small",
    u"stream-empty",
    u"palette-flag",
    u"video-sample-size",
    u"durations-differ",
    u"interleave-distance",
    u"interleave-flag",
    u"use-index-flag",
    u"super-duration",
    u"raw-frame-size",
    u"pcm-chunk-align",
    u"vbr-block-align",
    u"dv-frame-size",
    u"idx1-size",
    u"idx1-base",
    u"idx1-base-unknown",
    u"idx1-no-such-chunk",
    u"idx1-chunk-size",
    u"idx1-chunk-not-indexed",
    u"idx1-duplicate",
    u"idx1-order",
    u"idx1-no-key-frame",
    u"idx1-first-not-key",
    u"idx1-beyond-first-riff",
    u"super-no-such-index",
    u"super-entry-size",
    u"std-no-such-chunk",
    u"std-base-beyond-file",
    u"std-chunk-size",
    u"odml-chunk-not-indexed",
    u"indexes-differ",
    u"std-span",
    u"field-offset",
    u"index-entry-count",
    u"ix-outside-movi",
    u"avix-without-indx",
};
// What looks into data that may be incomplete.
constexpr QStringView dataLost[] = {u"last-chunk-cut", u"foreign-bytes", u"zero-bytes", u"chunk-swallows-others",
                                    u"riff-beyond-file"};
constexpr QStringView payload[] = {u"jpeg-markers", u"mp3-chunk-start", u"zero-hole", u"idx1-key-flag-differs",
                                   u"coded-start"};

// A file that ends early or was never closed has no index at its end.
constexpr QStringView earlyEnd[] = {u"riff-beyond-file", u"size-open", u"last-chunk-cut", u"segment-missing"};
constexpr QStringView absentIndex[] = {u"index-missing", u"index-flag-without-index"};
// Nor what else would stand behind its end.
constexpr QStringView fileEnd[] = {u"riff-beyond-file", u"size-open"};
constexpr QStringView behindFileEnd[] = {u"last-chunk-cut", u"pad-missing", u"child-beyond-parent", u"hdrl-missing",
                                         u"movi-count"};
constexpr QStringView noIndex[] = {u"index-missing"};
constexpr QStringView promisedIndex[] = {u"index-flag-without-index"};

// Bytes that were put in make the lists around them too short; where a RIFF list is, its `movi` is as well.
constexpr QStringView putIn[] = {u"foreign-bytes", u"zero-bytes", u"riff-too-short"};
constexpr QStringView listSizes[] = {u"riff-too-short", u"child-beyond-parent"};
constexpr QStringView wrapped[] = {u"size-wrapped"};
constexpr QStringView largeLists[] = {u"riff-over-2gib", u"first-riff-over-1gib", u"riff-too-short",
                                      u"child-beyond-parent", u"trailing-bytes"};

// Headers that are missing, or stand twice.
constexpr QStringView lostHeaders[] = {u"hdrl-missing", u"stream-count"};
constexpr QStringView strangeChunks[] = {u"undeclared-stream", u"chunk-kind", u"index-stream-differs",
                                         u"odml-chunk-not-indexed"};
constexpr QStringView noHeaders[] = {u"hdrl-missing"};
constexpr QStringView otherHeaders[] = {u"dmlh-missing", u"avix-without-indx"};
constexpr QStringView overwritten[] = {u"riff-beyond-file", u"foreign-bytes", u"zero-bytes", u"child-beyond-parent"};
constexpr QStringView listsOfHeaders[] = {u"hdrl-missing", u"stream-count", u"strh-missing", u"strf-missing",
                                          u"movi-count"};
constexpr QStringView secondFile[] = {u"riff-later-form"};
constexpr QStringView secondHeaders[] = {u"riff-later-content", u"dmlh-missing"};
constexpr QStringView staleLists[] = {u"movi-stale"};
constexpr QStringView listCounts[] = {u"movi-count"};

constexpr QStringView noTimeBase[] = {u"time-base-zero", u"sample-size", u"block-align-zero"};
constexpr QStringView times[] = {u"stream-length", u"byte-rate", u"frame-duration", u"durations-differ"};

// Other numbers are held against the size of a block.
constexpr QStringView wrongBlocks[] = {u"pcm-block-align"};
constexpr QStringView heldAgainstBlocks[] = {u"sample-size", u"pcm-byte-rate", u"pcm-chunk-align"};

constexpr QStringView wrongBase[] = {u"idx1-base", u"idx1-base-unknown"};
constexpr QStringView legacyEntries[] = {
    u"idx1-no-such-chunk",   u"idx1-chunk-size",    u"idx1-chunk-not-indexed",
    u"idx1-duplicate",       u"idx1-order",         u"idx1-no-key-frame",
    u"idx1-first-not-key",   u"idx1-list-flag",     u"idx1-key-flag-differs",
    u"idx1-empty-key-frame", u"idx1-audio-not-key", u"idx1-beyond-first-riff",
    u"indexes-differ",
};
// An entry that points at something else leaves its own chunk out.
constexpr QStringView wrongEntries[] = {u"idx1-no-such-chunk", u"idx1-duplicate"};
constexpr QStringView leftOut[] = {u"idx1-chunk-not-indexed", u"idx1-no-key-frame", u"idx1-first-not-key"};
constexpr QStringView orderOfEntries[] = {u"idx1-order", u"use-index-flag", u"indexes-differ"};
// A chunk whose id was damaged is not where the index says, and is missing in its stream.
constexpr QStringView strangeIds[] = {u"unknown-chunk"};
constexpr QStringView entriesThatMiss[] = {u"idx1-no-such-chunk", u"std-no-such-chunk"};
constexpr QStringView countsOfStream[] = {u"frame-count",  u"total-frame-count", u"stream-length",
                                          u"stream-empty", u"durations-differ",  u"super-duration"};

constexpr QStringView wrongStandardIndex[] = {u"std-base-beyond-file", u"std-no-such-chunk", u"super-no-such-index"};
constexpr QStringView notIndexed[] = {u"odml-chunk-not-indexed", u"super-duration"};

constexpr CauseRow rows[] = {
    {lostBytes, countsAndIndexes, CauseScope::Concerned},
    {dataLost, payload, CauseScope::Concerned},
    {earlyEnd, absentIndex, CauseScope::File},
    {fileEnd, behindFileEnd, CauseScope::Concerned},
    {noIndex, promisedIndex, CauseScope::File},
    {putIn, listSizes, CauseScope::Concerned},
    {wrapped, largeLists, CauseScope::File},
    {overwritten, listsOfHeaders, CauseScope::Concerned},
    {noHeaders, otherHeaders, CauseScope::File},
    {lostHeaders, strangeChunks, CauseScope::Concerned},
    {secondFile, secondHeaders, CauseScope::Concerned},
    {staleLists, listCounts, CauseScope::Concerned},
    {noTimeBase, times, CauseScope::Stream},
    {wrongBlocks, heldAgainstBlocks, CauseScope::Stream},
    {wrongBase, legacyEntries, CauseScope::Concerned},
    {wrongEntries, leftOut, CauseScope::Stream},
    {wrongEntries, orderOfEntries, CauseScope::File},
    {strangeIds, entriesThatMiss, CauseScope::Concerned},
    {strangeIds, countsOfStream, CauseScope::Stream},
    {wrongStandardIndex, notIndexed, CauseScope::Stream},
};

} // namespace

CauseRows aviCauses()
{
    return rows;
}

} // namespace quenlofar
