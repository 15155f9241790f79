#include "jsonprinter.h"

#include "jsonmembers_p.h"

namespace quenlofar {

class JsonPrinter::Private
{
public:
    Private(QIODevice &device, JsonLayout layout) : json(device, layout) { }

    JsonStream json;
};

JsonPrinter::JsonPrinter(QIODevice &output, JsonLayout layout) : d(new Private(output, layout)) { }

JsonPrinter::~JsonPrinter() = default;

JsonPrinter &JsonPrinter::beginObject()
{
    d->json.beginObject();
    return *this;
}

JsonPrinter &JsonPrinter::endObject()
{
    d->json.endObject();
    return *this;
}

JsonPrinter &JsonPrinter::beginArray()
{
    d->json.beginArray();
    return *this;
}

JsonPrinter &JsonPrinter::endArray()
{
    d->json.endArray();
    return *this;
}

JsonPrinter &JsonPrinter::key(QStringView name)
{
    d->json.key(name);
    return *this;
}

JsonPrinter &JsonPrinter::hexDigits(const char *bytes, qint64 count)
{
    d->json.hexDigits({bytes, size_t(count)});
    return *this;
}

JsonPrinter &JsonPrinter::text(QStringView value)
{
    d->json.text(value);
    return *this;
}

JsonPrinter &JsonPrinter::number(quint64 value)
{
    d->json.number(value);
    return *this;
}

JsonPrinter &JsonPrinter::signedNumber(qint64 value)
{
    d->json.signedNumber(value);
    return *this;
}

JsonPrinter &JsonPrinter::real(double value)
{
    d->json.real(value);
    return *this;
}

JsonPrinter &JsonPrinter::boolean(bool value)
{
    d->json.boolean(value);
    return *this;
}

JsonPrinter &JsonPrinter::null()
{
    d->json.null();
    return *this;
}

JsonPrinter &JsonPrinter::documentStart(const DocumentStart &start)
{
    printStart(d->json, start);
    return *this;
}

JsonPrinter &JsonPrinter::fileStart(const DocumentStart &start)
{
    printFile(d->json, start);
    return *this;
}

JsonPrinter &JsonPrinter::outcome(const RunResult &result)
{
    printOutcome(d->json, result);
    return *this;
}

bool JsonPrinter::finish()
{
    return d->json.finish();
}

QString JsonPrinter::errorText() const
{
    return d->json.errorText();
}

} // namespace quenlofar
