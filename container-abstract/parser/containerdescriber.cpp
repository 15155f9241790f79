#include "containerdescriber.h"

namespace quenlofar {

double StreamDescription::seconds() const
{
    // Until the length is known a writer leaves 0; a length of 0 says nothing.
    if (length < (kind == Kind::Audio ? 1 : 0) || timeBaseNumerator == 0 || timeBaseDenominator == 0)
        return -1.0;
    return double(length) * double(timeBaseNumerator) / double(timeBaseDenominator);
}

QString StreamDescription::kindText() const
{
    switch (kind) {
    case Kind::Video:
        return QStringLiteral("video");
    case Kind::Audio:
        return QStringLiteral("audio");
    case Kind::Text:
        return QStringLiteral("subtitles");
    case Kind::Midi:
        return QStringLiteral("MIDI");
    case Kind::Other:
        break;
    }
    return QStringLiteral("other");
}

ContainerDescriber::~ContainerDescriber() = default;

QVector<DescriptionRow> ContainerDescriber::rows() const
{
    return {};
}

QVector<StreamDescription> ContainerDescriber::streams() const
{
    return {};
}

} // namespace quenlofar
