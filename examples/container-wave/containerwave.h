#pragma once

#include "waveids.h"

#include "containerabstract.h"

#include <QVector>

/**
 * The parser of WAVE files: RIFF files of the form "WAVE", and RF64 files (EBU Tech 3306), whose ds64 chunk has the
 * sizes that need more than 32 bits.
 *
 * containerwave.cpp walks over chunks and lists, chunks.cpp says what their bytes mean. Every step of the walk leads
 * forwards in the file, so its effort is bounded by the file's length whatever the sizes in it say.
 */
class ContainerWave : public ContainerAbstract
{
public:
    /// How many bytes of a text or of unknown data a leaf "value" shows.
    static constexpr quint64 shownBytes = 256;

protected:
    int verifyContainerFormat(const QString &path) override;
    int findBeginOfContainer(qint64 *offset) override;
    int parseElement(quint64 *size) override;
    void prepareParsing() override;
    void finalizeParsing() override { }

private:
    struct Chunk
    {
        quint32 id; // as in idOf
        quint64 size; // of its data, wherever the file says it
        QString longSize; // the size in words where it does not stand in the chunk itself
        quint64 begin; // of the part of it that the file holds,
        quint64 end; // and one behind its last byte
        bool isPadded; // a zero byte makes the data even
        bool isComplete; // the file holds all of it
    };
    struct LongSize
    {
        quint32 id;
        quint64 size;
    };

    // containerwave.cpp
    bool findChunk(const quenlofar::InputCursor &place, Chunk *chunk);
    int showElement(quenlofar::InputCursor place, quint64 *next);
    int showList(const Chunk &chunk, quint64 *next);

    // chunks.cpp
    void showData(quint32 id, quenlofar::InputCursor data);

    QVector<LongSize> m_longSizes; // what ds64 says; empty in a RIFF file
};
