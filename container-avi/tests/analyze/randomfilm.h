#pragma once

#include "avibuilder.h"
#include "bitstring.h"

#include <QStringList>

#include <random>
#include <vector>

namespace quenlofar {

namespace film {

/**
 * A file in which all is well, with random streams, sizes and indexes: counts and sizes agree wherever they are stated.
 * The same seed gives the same file on every machine.
 *
 * Everything is laid out twice: the sizes of headers and index chunks depend on how much there is, not on where it
 * stands, so the places of the first time are those of the second.
 */
class RandomFilm
{
public:
    explicit RandomFilm(quint32 seed);

    QByteArray bytes() const { return m_bytes; }
    /// What was chosen, for the message when a test fails.
    QString text() const { return m_choices.join(QLatin1Char(' ')); }

private:
    enum class Codec { Raw, MotionJpeg, Mpeg4, NoReader, Pcm, Mp3Frames, Mp3Bytes, Text };
    enum class Indexing { Legacy, LegacyFromFile, Parts, PartsAndLegacy, InStream };

    struct Stream
    {
        Codec codec;
        quint32 scale;
        quint32 rate;
        quint32 sampleSize = 0;
        quint32 channels = 1; // of sound
        quint32 bits = 8; // of a sample
        quint32 chunks = 0; // appended so far
        quint64 dataBytes = 0; // of them
        quint32 largest = 0; // bytes of data
        std::vector<quint64> ticks = {}; // by segment
    };
    struct Placed
    {
        int stream;
        quint32 offset; // of the header, from the form type of `movi`
        quint32 size;
        bool isKey;
        quint32 list; // of the `rec ` list that holds it, from the form type of `movi`; 0 outside of all
        quint32 listSize;
    };
    struct Segment
    {
        QByteArray data; // of `movi`, behind the form type
        std::vector<Placed> chunks;
        quint64 movi = 0; // where its form type stands
        std::vector<quint64> indexes; // where the index chunk of each stream stands
    };

    bool isVideo(const Stream &stream) const { return stream.codec < Codec::Pcm; }
    bool isSound(const Stream &stream) const { return stream.codec >= Codec::Pcm && stream.codec < Codec::Text; }
    bool hasParts() const { return m_indexing == Indexing::Parts || m_indexing == Indexing::PartsAndLegacy; }
    quint32 below(quint32 limit) { return quint32(m_random() % limit); }
    bool oneIn(quint32 count) { return below(count) == 0; }

    void chooseStreams();
    void makeData();
    void appendChunk(Segment &segment, int number, const QByteArray &data, bool isKey);
    void appendFrame(Segment &segment, int number);
    void appendSound(Segment &segment, int number, double until);
    double secondsOf(const Stream &stream) const;

    QByteArray chunkId(int number) const;
    QByteArray videoHeader(const Stream &stream) const;
    QByteArray soundHeader(const Stream &stream) const;
    QByteArray partIndex(const char *id, const Segment &segment, int number) const;
    QByteArray superIndex(int number) const;
    QByteArray legacyIndex() const;
    QByteArray headers() const;
    QByteArray laidOut();

    std::mt19937 m_random;
    QStringList m_choices;
    std::vector<Stream> m_streams;
    std::vector<Segment> m_segments;
    Indexing m_indexing = Indexing::Legacy;
    quint32 m_width = 0;
    quint32 m_height = 0;
    bool m_statesBuffers = false;
    bool m_hasTexts = false;
    quint32 m_room = 0; // bytes of JUNK behind the headers; 0 for none
    QByteArray m_bytes;
};

} // namespace film

} // namespace quenlofar
