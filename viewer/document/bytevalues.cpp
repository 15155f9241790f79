#include "bytevalues.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QUuid>
#include <QtEndian>

#include <cstring>

namespace quenlofar {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ByteValues", text);
}

template <typename Number> QString numberText(Number number)
{
    return QString::number(number);
}

template <> QString numberText(float number)
{
    constexpr int digits = 9; // tell every value of 32 bits from all others
    return QString::number(double(number), 'g', digits);
}

template <> QString numberText(double number)
{
    constexpr int digits = 17;
    return QString::number(number, 'g', digits);
}

/// Both orders of a number; `Number` has the width of `Bits`, in which the bytes are turned round.
template <typename Number, typename Bits = Number> ByteValue number(const QString &name, const QByteArray &bytes)
{
    ByteValue value{name, {}, {}};
    if (bytes.size() < int(sizeof(Bits)))
        return value;
    const auto text = [](Bits bits) {
        Number result;
        static_assert(sizeof result == sizeof bits);
        std::memcpy(&result, &bits, sizeof bits);
        return numberText(result);
    };
    value.little = text(qFromLittleEndian<Bits>(bytes.constData()));
    value.big = text(qFromBigEndian<Bits>(bytes.constData()));
    return value;
}

/// The numbers of the bits that are set, from 0: "0, 4, 31"; "none".
template <typename Bits> ByteValue flags(const QString &name, const QByteArray &bytes)
{
    ByteValue value{name, {}, {}};
    if (bytes.size() < int(sizeof(Bits)))
        return value;
    const auto text = [](Bits bits) {
        QStringList set;
        for (int bit = 0; bit < int(sizeof bits) * 8; ++bit) {
            if ((quint64(bits) >> bit & 1U) != 0)
                set.append(QString::number(bit));
        }
        return set.isEmpty() ? tr("none") : set.join(QStringLiteral(", "));
    };
    value.little = text(qFromLittleEndian<Bits>(bytes.constData()));
    value.big = text(qFromBigEndian<Bits>(bytes.constData()));
    return value;
}

/// Seconds since 1970, as UTC.
ByteValue time(const QByteArray &bytes)
{
    ByteValue value{tr("Time of 32 bits, since 1970"), {}, {}};
    if (bytes.size() < int(sizeof(quint32)))
        return value;
    const auto text = [](quint32 seconds) {
        return QDateTime::fromSecsSinceEpoch(qint64(seconds), Qt::UTC).toString(Qt::ISODate);
    };
    value.little = text(qFromLittleEndian<quint32>(bytes.constData()));
    value.big = text(qFromBigEndian<quint32>(bytes.constData()));
    return value;
}

/// Four characters, as codes of chunks are; other bytes than printable ASCII as dots.
ByteValue characters(const QByteArray &bytes)
{
    ByteValue value{tr("Four characters"), {}, {}};
    if (bytes.size() < 4)
        return value;
    for (const char each : bytes.left(4))
        value.little += each >= 0x20 && each < 0x7F ? QLatin1Char(each) : QLatin1Char('.');
    value.big = value.little;
    return value;
}

/// A GUID; the little-endian one has its first three groups turned round, as Windows writes it.
ByteValue guid(const QByteArray &bytes)
{
    constexpr int size = 16;
    ByteValue value{tr("GUID"), {}, {}};
    if (bytes.size() < size)
        return value;
    QByteArray turned = bytes.left(size);
    qToBigEndian(qFromLittleEndian<quint32>(bytes.constData()), turned.data());
    qToBigEndian(qFromLittleEndian<quint16>(bytes.constData() + 4), turned.data() + 4);
    qToBigEndian(qFromLittleEndian<quint16>(bytes.constData() + 6), turned.data() + 6);
    value.little = QUuid::fromRfc4122(turned).toString(QUuid::WithoutBraces);
    value.big = QUuid::fromRfc4122(bytes.left(size)).toString(QUuid::WithoutBraces);
    return value;
}

} // namespace

std::vector<ByteValue> valuesOf(const QByteArray &bytes)
{
    return {number<quint8>(tr("8 bits, unsigned"), bytes),
            number<qint8>(tr("8 bits, signed"), bytes),
            number<quint16>(tr("16 bits, unsigned"), bytes),
            number<qint16>(tr("16 bits, signed"), bytes),
            number<quint32>(tr("32 bits, unsigned"), bytes),
            number<qint32>(tr("32 bits, signed"), bytes),
            number<quint64>(tr("64 bits, unsigned"), bytes),
            number<qint64>(tr("64 bits, signed"), bytes),
            number<float, quint32>(tr("Float of 32 bits"), bytes),
            number<double, quint64>(tr("Float of 64 bits"), bytes),
            flags<quint8>(tr("Bits of 8"), bytes),
            flags<quint16>(tr("Bits of 16"), bytes),
            flags<quint32>(tr("Bits of 32"), bytes),
            time(bytes),
            characters(bytes),
            guid(bytes)};
}

} // namespace quenlofar
