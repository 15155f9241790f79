#include "containeravi.h"

#include "chunktable.h"

using namespace quenlofar;

ContainerAVI::ElementAVI::ElementAVI() : handler(nullptr) { }

ContainerAVI::ElementAVI::ElementAVI(int elementType, Handler elementHandler, const QString &elementName,
                                     const QString &elementDescription)
    : CommonElement(elementType, elementName), handler(elementHandler), description(elementDescription)
{
}

ContainerAVI::ElementAVI::ElementAVI(const ElementAVI &other) = default;
ContainerAVI::ElementAVI &ContainerAVI::ElementAVI::operator=(const ElementAVI &other) = default;
ContainerAVI::ElementAVI::~ElementAVI() = default;

ContainerAVI::ContainerAVI() : m_streamType(NoStream), m_videoStreamCount(0), m_timeBase(1.0), m_moviOffset(0)
{
    m_elements.reserve(ChunkIdTable::rowCount);
    for (int i = 0; i < ChunkIdTable::rowCount; ++i) {
        const ChunkRow &row = ChunkRow::rows[i];
        auto *element = new ElementAVI(row.type, row.handler, row.name.toString(), {});
        m_elementsByRow[i] = element;
        m_elements.insert(QString::fromLatin1(row.id), element);
    }
}

ContainerAVI::~ContainerAVI()
{
    qDeleteAll(m_elements);
}

int ContainerAVI::getID(QString *id)
{
    ChunkId read;
    const bool complete = readId(&read);
    *id = read.text();
    return complete ? StatusOk : StatusEndOfFile;
}

int ContainerAVI::getSize(quint32 *size)
{
    return readSize(size) ? StatusOk : StatusEndOfFile;
}

int ContainerAVI::searchID(const QString &id, ElementAVI *entry)
{
    const QString first = id.left(2);
    const QString last = id.right(2);
    bool known = false;
    if (last == QLatin1String("db") || last == QLatin1String("dc") || last == QLatin1String("pc")
        || last == QLatin1String("wb")) {
        // Kept: stream numbers are hexadecimal in data chunk ids ("0adc") and decimal in index chunk ids ("ix10").
        first.toInt(&known, 16);
    } else if (last == QLatin1String("ix")) {
        first.toInt(&known, 10);
    } else if (first == QLatin1String("ix")) {
        last.toInt(&known, 10);
    } else if (const ElementAVI *element = m_elements.value(id)) {
        if (entry)
            *entry = *element;
        known = true;
    }
    return known ? StatusOk : StatusUnknownId;
}

void ContainerAVI::addUnparsedTail(quint64 offset, quint32 size, quint32 parsed)
{
    if (size > parsed)
        addUnparsed(offset + parsed, size - parsed);
}
