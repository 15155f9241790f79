#pragma once

#include "containerabstract_export.h"
#include "jsonlayout.h"
#include "runresult.h"

#include <QString>
#include <QStringView>

#include <memory>

class QIODevice;

namespace quenlofar {

/**
 * Prints JSON documents, each followed by a line feed, in constant memory: for what is not an element tree. The texts
 * of keys and values may hold anything; unpaired surrogates become U+FFFD. Calls have to come in an order that makes a
 * document: an object's member is a key and then its value.
 */
class CONTAINERABSTRACT_EXPORT JsonPrinter
{
public:
    /// `output` is open for writing and outlives the printer; it is not owned.
    explicit JsonPrinter(QIODevice &output, JsonLayout layout = JsonLayout::Line);
    JsonPrinter(const JsonPrinter &) = delete;
    JsonPrinter &operator=(const JsonPrinter &) = delete;
    ~JsonPrinter();

    JsonPrinter &beginObject(); ///< members follow
    JsonPrinter &endObject(); ///< ends the innermost object
    JsonPrinter &beginArray(); ///< values follow
    JsonPrinter &endArray(); ///< ends the innermost array
    JsonPrinter &key(QStringView name); ///< the name of the member whose value comes next
    JsonPrinter &text(QStringView value); ///< a value
    JsonPrinter &hexDigits(const char *bytes, qint64 count); ///< a value: a text of two lower-case digits a byte
    JsonPrinter &number(quint64 value); ///< a value, with all its digits
    JsonPrinter &signedNumber(qint64 value); ///< a value, with all its digits
    /// The shortest text that reads back as the same number; null when it is infinite or not a number.
    JsonPrinter &real(double value);
    JsonPrinter &boolean(bool value); ///< a value
    JsonPrinter &null(); ///< a value: what is not known

    /// The members that documents about a file begin with: "formatVersion", "file", "fileSize", "container" and,
    /// where a parser accepts the file, "parser".
    JsonPrinter &documentStart(const DocumentStart &start);
    /// documentStart() without "formatVersion": for each of several files of one document.
    JsonPrinter &fileStart(const DocumentStart &start);
    /// The members that say how a walk went: "status" and, where they apply, "limit", "cancelled" and "error".
    JsonPrinter &outcome(const RunResult &result);

    /// Ends the document and hands everything to the device; false when that failed, now or before.
    bool finish();
    /// Why a document could not be printed, in words for the user; null before that.
    QString errorText() const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace quenlofar
