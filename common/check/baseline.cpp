#include "baseline.h"

#include "filepath.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace quenlofar {

namespace {

QString keyOf(const QString &shownFile, const QString &rule, int stream, const QString &expected, const QString &actual)
{
    const QChar separator(0); // in no path and in no name
    return shownFile + separator + rule + separator + QString::number(stream) + separator + expected + separator
        + actual;
}

} // namespace

std::optional<Baseline> Baseline::parse(const QByteArray &documents, QString *error)
{
    Baseline baseline;
    int line = 0;
    for (int begin = 0; begin < documents.size();) {
        // A document ends with its line, or, indented, with the first line that begins with its closing brace.
        int end = begin;
        const int firstLine = line + 1;
        do {
            const int start = end;
            end = int(documents.indexOf('\n', start));
            end = end < 0 ? int(documents.size()) : end + 1;
            ++line;
            const QByteArray text = documents.mid(start, end - start).trimmed();
            if (text.isEmpty() || documents[start] == '}' || (documents[start] == '{' && text.endsWith('}')))
                break;
        } while (end < documents.size());
        const QByteArray text = documents.mid(begin, end - begin).trimmed();
        begin = end;
        if (text.isEmpty())
            continue;
        QJsonParseError trouble;
        const QJsonObject document = QJsonDocument::fromJson(text, &trouble).object();
        if (trouble.error != QJsonParseError::NoError || !document.value(QLatin1String("file")).isString()
            || !document.value(QLatin1String("findings")).isArray()) {
            *error = QStringLiteral("line %1 is no document of check --format json").arg(firstLine);
            return std::nullopt;
        }
        const QString file = document.value(QLatin1String("file")).toString();
        const QJsonArray findings = document.value(QLatin1String("findings")).toArray();
        for (const QJsonValue value : findings) {
            const QJsonObject finding = value.toObject();
            baseline.m_keys.insert(keyOf(file, finding.value(QLatin1String("rule")).toString(),
                                         finding.value(QLatin1String("stream")).toInt(-1),
                                         finding.value(QLatin1String("expected")).toString(),
                                         finding.value(QLatin1String("actual")).toString()));
        }
    }
    return baseline;
}

bool Baseline::knows(const QString &file, const Finding &finding) const
{
    return !m_keys.isEmpty()
        && m_keys.contains(keyOf(QString::fromUtf8(pathForDisplay(file)), finding.rule, finding.stream,
                                 finding.expected, finding.actual));
}

} // namespace quenlofar
