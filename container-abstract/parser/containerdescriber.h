#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"

#include <QString>
#include <QVector>

namespace quenlofar {

/// One line of a description: "title" and "Holiday".
struct DescriptionRow
{
    QString label; ///< lower case, without a colon
    QString text; ///< for people; its maker bounds it, whatever the file says
};

/**
 * What a file's headers say of one of its streams, whatever the container. Everything but the ordinal may be unknown;
 * it then has the value that stands here. Headers are believed, not checked against the stream's data.
 */
struct CONTAINERABSTRACT_EXPORT StreamDescription
{
    /// What a stream carries.
    enum class Kind {
        Other, ///< none of the following, mixed, or not known
        Video,
        Audio,
        Text, ///< subtitles and other timed text
        Midi,
    };

    int ordinal = 0; ///< among all streams of the file, from 0, in the order of their headers
    int videoOrdinal = -1; ///< among its video streams, from 0: Frame::stream; -1 for all other streams
    Kind kind = Kind::Other; ///< what it carries
    QString name; ///< given by the author; empty when unknown
    QString codecCode; ///< as the container names it: "XVID", or "0x0055" for a number; empty when unknown
    QString codecName; ///< in words; empty when unknown

    // Video; 0 when unknown.
    quint32 width = 0; ///< pixels
    quint32 height = 0; ///< pixels, whichever line is stored first
    double frameRate = 0.0; ///< frames per second; finite

    // Audio; 0 when unknown.
    quint32 sampleRate = 0; ///< samples per second of one channel
    quint32 channels = 0; ///< as the header says, not which
    quint32 bitsPerSample = 0; ///< of one channel
    quint64 bitRate = 0; ///< bits per second, the average where it varies

    /// In units of timeBaseNumerator / timeBaseDenominator seconds; -1 when unknown. Of sound 0 is as good as unknown.
    qint64 length = -1;
    quint32 timeBaseNumerator = 0; ///< 0 when the time base is unknown
    quint32 timeBaseDenominator = 0; ///< 0 when the time base is unknown

    /// The length in seconds; -1 when it or the time base is unknown.
    double seconds() const;
    /// "video", "audio", "subtitles", "MIDI" or "other".
    QString kindText() const;
};

/**
 * Knows more of a container format than the framework does, and answers in words: a plug-in may export
 * `ContainerDescriber *createDescriber()` beside its three required functions.
 *
 * A describer is a sink: it sees one walk, from beginDocument to endDocument, and is asked afterwards. It learns from
 * nodes and leaves alone, so a description costs no tree, the parser's state stays as it is, and a tree that is
 * replayed is described like the file. It keeps little, whatever the file says: texts are clipped, lists are bounded
 * (and say so in a row), and a leaf that it does not want costs next to nothing. DescribingSink drops rows without a
 * label, and gives streams whose ordinals make no sense those of their places in the list.
 */
class CONTAINERABSTRACT_EXPORT ContainerDescriber : public ElementSink
{
public:
    ~ContainerDescriber() override;

    /// What is known of the file as a whole, in the order in which to show it. None by default. A row labelled
    /// "streams" says that streams() lacks some, and how many there are; it is shown with them.
    virtual QVector<DescriptionRow> rows() const;
    /// The streams of the file, by ordinal. None by default.
    virtual QVector<StreamDescription> streams() const;
};

} // namespace quenlofar
