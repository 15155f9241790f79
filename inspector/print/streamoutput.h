#pragma once

#include "containerdescriber.h"
#include "streamtexts.h"

#include <QVector>

namespace quenlofar {

class JsonPrinter;

/// Prints `streams` as the value of a key: an array with an object for each, without what is not known.
void printStreams(JsonPrinter &json, const QVector<StreamDescription> &streams);

} // namespace quenlofar
