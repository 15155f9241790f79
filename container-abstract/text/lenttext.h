#pragma once

#include "containerabstract_export.h"

#include <QString>
#include <QStringView>

namespace quenlofar {

/**
 * A QString that is filled again and again without allocating: its characters stand in a buffer inside the object, or
 * are borrowed from a literal. What a call returns is valid until the next call on the same object; lend it to
 * ContainerAbstract::addField, never keep it. With Qt 5 the first text of each length allocates one small header.
 */
class CONTAINERABSTRACT_EXPORT LentText
{
public:
    LentText() = default;
    LentText(const LentText &) = delete;
    LentText &operator=(const LentText &) = delete;

    /// The characters of `text` themselves; they have to outlive the use.
    const QString &borrow(QStringView text);
    /// `number` in decimal.
    const QString &decimal(quint64 number);
    /// `number` in decimal, with a minus sign where it is negative.
    const QString &decimal(qint64 number);
    /// The bytes as Latin-1, ending early at the first zero byte; `size` is at most 24.
    const QString &latin1(const char *bytes, int size);

private:
    const QString &firstCharacters(int count);

    static constexpr int capacity = 24;
    char16_t m_characters[capacity];
    QString m_borrowed;
    QString m_bySize[capacity + 1]; // the first n characters: made once, valid for whatever is written there later
};

} // namespace quenlofar
