#pragma once

#include <QString>

namespace quenlofar {

/// What a video format's four-character code (see fourCC in fourcctable.h) calls the codec, in words; empty when this
/// is not known. A code in lower case is taken as one in capitals where only that is known.
QString videoCodecName(quint32 tag);

/// The name of the format tag of a wave format.
QString audioFormatName(quint16 tag);

} // namespace quenlofar
