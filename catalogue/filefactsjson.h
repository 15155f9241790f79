#pragma once

#include "filerecord.h"

#include <QByteArray>

#include <optional>

namespace quenlofar {

class JsonPrinter;

/// Prints what a catalogue keeps of a file besides its findings, as the value of the member "fileFacts". Numbers that
/// need more than 53 bits are texts, because many readers of JSON keep no more.
void printFileFacts(JsonPrinter &json, const FileRecord &record);
/// Reads a document of `check --format json --file-facts`; nothing, and `*error` says why, where `json` is none.
std::optional<FileRecord> parseFileFacts(const QByteArray &json, QString *error);

} // namespace quenlofar
