#include "payloadscan.h"

#include <QtEndian>

#include <cstring>

namespace quenlofar {

namespace {

// Odd, with about as many ones as zeros.
constexpr quint64 factor = 0x9E3779B97F4A7C15;
// Far from one another.
constexpr quint64 seeds[PayloadHash::block / 8] = {0x243F6A8885A308D3, 0x13198A2E03707344, 0xA4093822299F31D0,
                                                   0x082EFA98EC4E6C89, 0x452821E638D01377, 0xBE5466CF34E90C6C,
                                                   0xC0AC29B7C97C50DD, 0x3F84D5B5B5470917};

quint64 word(const char *bytes)
{
    return qFromLittleEndian<quint64>(bytes);
}

quint64 mixed(quint64 lane, quint64 word)
{
    lane = (lane ^ word) * factor;
    return lane ^ (lane >> 29);
}

} // namespace

bool ZeroRuns::isZero8(const char *bytes)
{
    quint64 number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return number == 0;
}

size_t ZeroRuns::zeroBegin(PayloadBytes bytes, size_t at)
{
    while (at > 0 && bytes.data[at - 1] == 0)
        --at;
    return at;
}

size_t ZeroRuns::zeroEnd(PayloadBytes bytes, size_t at)
{
    while (bytes.size - at >= 64 && isZero64(bytes.data + at))
        at += 64;
    while (bytes.size - at >= 8 && isZero8(bytes.data + at))
        at += 8;
    while (at < bytes.size && bytes.data[at] == 0)
        ++at;
    return at;
}

void PayloadHash::begin()
{
    for (size_t lane = 0; lane < m_lanes.size(); ++lane)
        m_lanes[lane] = seeds[lane];
    m_size = 0;
}

void PayloadHash::feed(PayloadBytes bytes)
{
    std::array<quint64, block / 8> lanes = m_lanes;
    size_t at = 0;
    for (; bytes.size - at >= block; at += block) {
        for (size_t lane = 0; lane < lanes.size(); ++lane)
            lanes[lane] = mixed(lanes[lane], word(bytes.data + at + 8 * lane));
    }
    if (at < bytes.size) {
        char rest[block] = {};
        std::memcpy(rest, bytes.data + at, bytes.size - at);
        for (size_t lane = 0; lane < lanes.size(); ++lane)
            lanes[lane] = mixed(lanes[lane], word(rest + 8 * lane));
    }
    m_lanes = lanes;
    m_size += bytes.size;
}

void PayloadHash::feedZeros(quint64 count)
{
    std::array<quint64, block / 8> lanes = m_lanes;
    for (quint64 at = 0; at < count; at += block) {
        for (quint64 &lane : lanes)
            lane = mixed(lane, 0);
    }
    m_lanes = lanes;
    m_size += count;
}

quint64 PayloadHash::value() const
{
    quint64 value = m_size;
    for (const quint64 lane : m_lanes)
        value = mixed(value, lane);
    return value;
}

} // namespace quenlofar
