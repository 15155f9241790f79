#pragma once

#include "byterange.h"
#include "payloadbits.h"

#include <array>

namespace quenlofar {

/// Finds runs of zero bytes in payload that comes in pieces.
class ZeroRuns
{
public:
    /// Shorter runs are of no interest.
    static constexpr size_t least = 512;

    /// A new chunk begins: no run goes on.
    void begin() { m_run = 0; }
    /**
     * Takes the next piece, whose first byte stands at `offset` in the file. Calls `report(ByteRange run, size_t at)`
     * for each long run that ends within it; `at` is where the run begins in the piece, 0 for one that began before.
     *
     * A run of `least` bytes covers eight bytes in a row at a multiple of half of that, so all others are passed over.
     */
    template <typename Report> void feed(PayloadBytes bytes, quint64 offset, const Report &report)
    {
        size_t at = zeroEnd(bytes, 0);
        if (m_run > 0 || at > 0) {
            m_run += at;
            if (at == bytes.size)
                return;
            endRun(offset + at, at, report);
        }
        while (bytes.size - at >= 8) {
            if (!isZero8(bytes.data + at)) {
                at += bytes.size - at > stride ? stride : bytes.size - at;
                continue;
            }
            const size_t begin = zeroBegin(bytes, at);
            at = zeroEnd(bytes, at);
            m_run = at - begin;
            if (at == bytes.size)
                return;
            endRun(offset + at, at, report);
        }
        m_run = bytes.size - zeroBegin(bytes, bytes.size);
    }
    /// `count` zero bytes come next.
    void feedZeros(quint64 count) { m_run += count; }
    /// The chunk ends at `offset`: calls `report` for a long run up to there.
    template <typename Report> void end(quint64 offset, const Report &report) { endRun(offset, 0, report); }

    /// Zero bytes up to the end of what was fed, in this chunk.
    quint64 open() const { return m_run; }

private:
    static constexpr size_t stride = least / 2;

    template <typename Report> void endRun(quint64 offset, size_t at, const Report &report)
    {
        if (m_run >= least)
            report(ByteRange{offset - m_run, m_run}, at > m_run ? size_t(at - m_run) : 0);
        m_run = 0;
    }
    static bool isZero8(const char *bytes);
    static size_t zeroBegin(PayloadBytes bytes, size_t at); // of the zero bytes before `at`
    static size_t zeroEnd(PayloadBytes bytes, size_t at); // of those from `at` on

    quint64 m_run = 0; // zero bytes up to the end of the piece before
};

/// A number of 64 bits that differs for different bytes, nearly always. Not for what an enemy chooses: two frames may
/// be made to have the same one.
class PayloadHash
{
public:
    /// Pieces but the last one are multiples of this many bytes.
    static constexpr size_t block = 64;

    void begin();
    void feed(PayloadBytes bytes);
    void feedZeros(quint64 count); ///< as feed() of `count` zero bytes
    /// Of all that was fed since begin().
    quint64 value() const;

private:
    std::array<quint64, block / 8> m_lanes = {}; // independent, so that a processor works on all of them at a time
    quint64 m_size = 0;
};

} // namespace quenlofar
