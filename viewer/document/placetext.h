#pragma once

#include "elementpath.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace quenlofar {

class Document;
class PacketTable;

/// A place as people type it.
struct PlaceText
{
    /// How it is to be found.
    enum class Kind {
        Offset, ///< `number` bytes from the start of the file
        FromEnd, ///< `number` bytes before its end
        Forwards, ///< `number` bytes behind the current place
        Backwards, ///< `number` bytes before it
        Frame, ///< the picture `number` of the first video stream, from 0
        Time, ///< the picture that is shown after `seconds`
        Path, ///< the item at `path`
    };
    Kind kind = Kind::Offset; ///< which of the following counts
    quint64 number = 0; ///< see Kind
    double seconds = 0; ///< see Kind
    ElementPath path; ///< see Kind

    /**
     * "1000", "0x3E8", "end-100", "+16", "-0x10", "#25" (a frame), "0:01:02.5" or "1:02.5" (a time), or a path as the
     * program prints it. Nothing for any other text; `*error` then says what is wrong.
     */
    static std::optional<PlaceText> parse(QStringView text, QString *error);
};

/// Goes to `place` in `document`; false where it is not there, or not known yet, and `*error` says why.
bool goTo(Document &document, const PlaceText &place, QString *error);

/// The index of the packet of the first video stream that is shown at `seconds`; PacketTable::none where there is none.
quint64 packetAtTime(const PacketTable &packets, double seconds);

} // namespace quenlofar
