#pragma once

#include "containerdescriber.h"

#include <array>

/**
 * Describes WAVE files by the nodes and leaves that ContainerWave shows: their one stream, and the texts of INFO lists
 * and of bext. What comes twice counts the first time. It keeps some numbers and a few short texts, whatever the file
 * holds.
 */
class WaveDescriber final : public quenlofar::ContainerDescriber
{
public:
    /// What the leaves say of the stream; 0 where they do not.
    struct Facts
    {
        quint64 formatTag = 0, channels = 0, sampleRate = 0, byteRate = 0, blockSize = 0, bits = 0, validBits = 0;
        quint64 samples = 0, dataSize = 0;
    };
    static constexpr size_t textCount = 9;

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const quenlofar::Field &field) override;
    bool endElement() override { return true; }
    bool reportFrame(const quenlofar::Frame &) override { return true; }

    QVector<quenlofar::DescriptionRow> rows() const override;
    QVector<quenlofar::StreamDescription> streams() const override;

private:
    QString m_chunk; // the title of the latest node, shortened
    Facts m_facts;
    QString m_codecName;
    std::array<QString, textCount> m_texts;
};
