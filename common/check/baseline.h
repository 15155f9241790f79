#pragma once

#include "finding.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <optional>

namespace quenlofar {

/**
 * What was found earlier, and is known: findings that are equal in file name, rule, stream, expected and actual text.
 * Offsets are not compared, because they move when a file is written anew.
 */
class Baseline
{
public:
    /// One that knows nothing.
    Baseline() = default;
    /// Reads the documents of an earlier check, one per line or indented; nothing, and `*error` says why, where it is
    /// something else.
    static std::optional<Baseline> parse(const QByteArray &documents, QString *error);

    /// Whether `finding` of `file`, a path as it was given, is known.
    bool knows(const QString &file, const Finding &finding) const;

private:
    QSet<QString> m_keys;
};

} // namespace quenlofar
