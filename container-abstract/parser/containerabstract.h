#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"
#include "fieldlayout.h"
#include "fieldmeanings.h"
#include "filedevice.h"
#include "inputcursor.h"
#include "statuscodes.h"
#include "videostream.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QVector>

#include <memory>

namespace quenlofar {
class ContainerAbstractPrivate;
class ParserRun;
} // namespace quenlofar

/**
 * The base class of every container parser. A parser knows what the bytes of one container format mean; the host owns
 * the file, the elements and the walk over the top level (ContainerRun), and calls the five virtual operations:
 *
 *  1. verifyContainerFormat, with the file closed;
 *  2. with the file open in m_file: prepareParsing, then findBeginOfContainer;
 *  3. parseElement once per top-level element, with m_position and the file on its first byte and the end of the
 *     data as the only entry of m_levelEnds;
 *  4. finalizeParsing.
 *
 * One object parses one file, driven by one thread at a time. Parsers report trouble as statuses and neither throw nor
 * catch. beginElement and addField may throw an exception of the framework's own when the host ends the run early:
 * whatever a parser holds has to be released by destructors.
 */
class CONTAINERABSTRACT_EXPORT ContainerAbstract : public QObject
{
    Q_OBJECT

public:
    /// The base record of an element kind in a parser's registry.
    class CONTAINERABSTRACT_EXPORT CommonElement
    {
    public:
        CommonElement(); ///< kind 0 without a name
        CommonElement(int type, const QString &name); ///< of the kind `type`
        CommonElement(const CommonElement &other); ///< shares the name, as QString does
        CommonElement &operator=(const CommonElement &other); ///< shares the name, as QString does

        qint32 type; ///< kind, in the parser's own numbering
        QString name; ///< short label, may be empty
    };

    ~ContainerAbstract() override;

protected:
    ContainerAbstract();

    // The order of these five is part of the binary interface of plug-ins; a test guards it.

    /// Opens and closes the file `path` itself: 0 when it is of this parser's format, StatusNotRecognised when it is
    /// not, or what openFile returned.
    virtual int verifyContainerFormat(const QString &path) = 0;
    /// Stores the offset of the first element, in bytes from the start of the file, in `*offset`.
    virtual int findBeginOfContainer(qint64 *offset) = 0;
    /// Parses the element at m_position and stores in `*size` by how many bytes to advance; 0 ends the walk.
    virtual int parseElement(quint64 *size) = 0;
    /// Called before findBeginOfContainer.
    virtual void prepareParsing() = 0;
    /// Called after the last element.
    virtual void finalizeParsing() = 0;

    /// Opens `path` in m_file: StatusOk, StatusCannotOpen or StatusReadError.
    int openFile(const QString &path);
    /// Closes m_file; nothing happens where it is closed.
    void closeFile();

    /**
     * Opens a node as a child of the innermost open one.
     *
     * @param offset  first byte of the element, in bytes from the start of the file
     * @param size    its length in bytes with its own header
     * @param title   what is shown for the node; lent for the call
     * @param index   ordinal among repeated records, or -1
     * Throws the framework's own exception where the host ends the run; the node is then not open.
     */
    void beginElement(quint64 offset, quint64 size, const QString &title, qint64 index);
    /// Takes a title that is not a QString: a literal, a part of a text. Where the size is not known yet it is
    /// sizeFromEnd, and told when the node ends.
    void beginElement(quint64 offset, quint64 size, QStringView title, qint64 index = -1);
    /// Closes the innermost open node. Never throws, so it may be called by the destructor of a scope object: where the
    /// host ends the run here, the next beginElement or addField says so. A node that was begun with
    /// sizeFromEnd then reaches as far as what is in it.
    void endElement() noexcept;
    /// Closes the innermost open node, which was begun with sizeFromEnd and is `size` bytes long.
    void endElement(quint64 size) noexcept;
    /**
     * Adds a leaf to the innermost open node, or at the top level when none is open.
     *
     * @param flag, code  kept with the leaf for the host; false and 0 where a parser has nothing to say
     * @param offset      first byte of the field, in bytes from the start of the file
     * @param size        width in bytes; 0 is allowed for an empty text
     * @param name        the field's label; unparsedDataMarker for bytes that nobody interprets
     * @param value       the raw value as text
     * @param meaning     what the value stands for ("25 frames/second"), empty when there is nothing to add
     * @param description a longer explanation, usually empty
     * @param index       ordinal among repeated records, or -1
     * The texts are lent for the call. Throws the framework's own exception where the host ends the run.
     *
     * A leaf called videoStreamField whose meaning is videoStreamMeaning announces a video stream: a run then appends
     * a zeroed record to m_videoStreams and a zero to m_streamFrameCounters.
     */
    void addField(bool flag, quint64 offset, uchar code, quint64 size, const QString &name, const QString &value,
                  const QString &meaning, const QString &description, qint64 index);
    /// Takes a field as a sink gets it.
    void addField(const quenlofar::Field &field);
    /// addField with no flag, code and index.
    void addLeaf(quint64 offset, quint64 size, const QString &name, const QString &value, const QString &meaning = {},
                 const QString &description = {})
    {
        addField(false, offset, 0, size, name, value, meaning, description, -1);
    }
    /// Takes texts that are not QStrings: literals, parts of texts.
    void addLeaf(quint64 offset, quint64 size, QStringView name, QStringView value, QStringView meaning = {},
                 QStringView description = {})
    {
        addField({false, 0, offset, size, -1, name, value, meaning, description});
    }
    /// Adds a leaf over `size` bytes that nobody interprets.
    void addUnparsed(quint64 offset, quint64 size);
    /// Adds the leaves of a record that starts at `offset` of the file; those beyond its end read as zero.
    void addRecord(quint64 offset, const quenlofar::RecordView &record, quenlofar::FieldRows rows);
    /// Adds the leaves of a record that may be cut off: ends before the first row that is not all in it, and returns
    /// the bytes from the start of the record that the rows up to there cover.
    quint64 addWholeFields(quint64 offset, const quenlofar::RecordView &record, quenlofar::FieldRows rows);

    /// From now on cursors read numbers in this order; little-endian before. Called once, by a constructor.
    void setByteOrder(quenlofar::ByteOrder order);
    /// The bytes of the file from `begin` up to `end`, to be read in the parser's byte order.
    quenlofar::InputCursor cursor(quint64 begin, quint64 end);
    /// Reads a record at `cursor`, adds the leaves of the rows that are all in it, and takes off the bytes that they
    /// cover: all of the record, or up to the first row that is cut off. The record as far as it could be read.
    quenlofar::StoredRecord addRecord(quenlofar::InputCursor &cursor, quenlofar::FieldRows rows);
    /// Adds a leaf `name` without a value over the bytes that are left, and takes them off: payload that is not shown.
    /// Nothing where none is left, as with the two below.
    void addData(quenlofar::InputCursor &cursor, QStringView name);
    /// Shows the first `shown` bytes as its value, as a text; see decodedText.
    void addText(quenlofar::InputCursor &cursor, QStringView name,
                 quenlofar::TextEncoding encoding = quenlofar::TextEncoding::Guessed, quint64 shown = 200);
    /// Adds a leaf that nobody interprets over the bytes that are left, and takes them off.
    void addUnparsed(quenlofar::InputCursor &cursor);

    /// See the function of that name in decodetext.h.
    QString bytesToText(const QByteArray &bytes);
    /// Reports a problem of the innermost open node, or of the file when none is open: it is shown behind what is in
    /// the node.
    ///
    /// @param offset    first byte that it is about, in bytes from the start of the file
    /// @param size      bytes; 0 where something is missing
    /// @param severity  how bad it is; an error makes the file one that has a problem
    /// @param text      what is wrong, in words, without a full stop; its first 500 characters are kept
    /// All problems are counted; of very many the first 10 000 are shown. Throws the framework's own exception where
    /// the host ends the run.
    void reportProblem(quint64 offset, quint64 size, quenlofar::Severity severity, QStringView text);
    /// Says in words what a status of the parser's own stands for, without a full stop. Such statuses are
    /// firstOwnStatus or larger; for others the framework has words.
    void nameStatus(int status, QStringView text);
    /// Hands the frame in m_frameOffset, m_frameSize and m_frameIsKey to the host; always 0.
    int reportFrame(uint streamIndex, quint64 frameNumber);

    /// The input file.
    quenlofar::FileDevice m_file;
    /// Offset of the element being parsed, in bytes from the start of the file. A parser may move it for the elements
    /// inside; the host goes on from where it called parseElement.
    quint64 m_position = 0;
    /// End offsets of the enclosing lists, the innermost last; the first is the end of the data.
    QVector<qint64> m_levelEnds;
    /// One running frame number per video stream; sized by the host.
    QVector<quint64> m_streamFrameCounters;
    /// The frame about to be reported: offset of its data from the start of the file,
    quint64 m_frameOffset = 0;
    /// its size in bytes,
    quint64 m_frameSize = 0;
    /// and non-zero when it is a key frame.
    int m_frameIsKey = 0;
    /// One record per video stream, owned by the host; a parser writes into the last one only.
    QVector<quenlofar::VideoStream *> m_videoStreams;

private:
    friend class quenlofar::ParserRun; // the host: drives the virtual operations and reads the state above
    friend class quenlofar::ContainerAbstractPrivate;
    const std::unique_ptr<quenlofar::ContainerAbstractPrivate> d;
};
