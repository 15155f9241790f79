#include "jsonprinter.h"

#include "jsonparts_p.h"

#include <variant>

class JsonPrinter::Private
{
public:
    Private(QIODevice &device, JsonLayout layout) : output(device)
    {
        if (layout == JsonLayout::Indented)
            writer.emplace<JsonParts<IndentedWriter>>(output);
        else
            writer.emplace<JsonParts<LineWriter>>(output);
    }

    JsonOutput output;
    std::variant<std::monostate, JsonParts<LineWriter>, JsonParts<IndentedWriter>> writer;
};

namespace {

/// Calls `step` with whichever writer there is.
template <typename Variant, typename Step> void withWriter(Variant &writer, Step step)
{
    std::visit(
        [&step](auto &one) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(one)>, std::monostate>)
                step(one);
        },
        writer);
}

} // namespace

JsonPrinter::JsonPrinter(QIODevice &output, JsonLayout layout) : d(new Private(output, layout)) { }

JsonPrinter::~JsonPrinter() = default;

JsonPrinter &JsonPrinter::beginObject()
{
    withWriter(d->writer, [](auto &writer) { writer.StartObject(); });
    return *this;
}

JsonPrinter &JsonPrinter::endObject()
{
    withWriter(d->writer, [](auto &writer) { writer.EndObject(); });
    return *this;
}

JsonPrinter &JsonPrinter::beginArray()
{
    withWriter(d->writer, [](auto &writer) { writer.StartArray(); });
    return *this;
}

JsonPrinter &JsonPrinter::endArray()
{
    withWriter(d->writer, [](auto &writer) { writer.EndArray(); });
    return *this;
}

JsonPrinter &JsonPrinter::key(QStringView name)
{
    return text(name); // RapidJSON knows from the place that it is one
}

JsonPrinter &JsonPrinter::text(QStringView value)
{
    withWriter(d->writer, [value](auto &writer) { writer.text(value); });
    return *this;
}

JsonPrinter &JsonPrinter::number(quint64 value)
{
    withWriter(d->writer, [value](auto &writer) { writer.Uint64(value); });
    return *this;
}

JsonPrinter &JsonPrinter::signedNumber(qint64 value)
{
    withWriter(d->writer, [value](auto &writer) { writer.Int64(value); });
    return *this;
}

JsonPrinter &JsonPrinter::real(double value)
{
    withWriter(d->writer, [value](auto &writer) { writer.real(value); });
    return *this;
}

JsonPrinter &JsonPrinter::boolean(bool value)
{
    withWriter(d->writer, [value](auto &writer) { writer.Bool(value); });
    return *this;
}

JsonPrinter &JsonPrinter::null()
{
    withWriter(d->writer, [](auto &writer) { writer.Null(); });
    return *this;
}

JsonPrinter &JsonPrinter::documentStart(const DocumentStart &start)
{
    withWriter(d->writer, [&start](auto &writer) { writer.printStart(start); });
    return *this;
}

JsonPrinter &JsonPrinter::outcome(const RunResult &result)
{
    withWriter(d->writer, [&result](auto &writer) { writer.printOutcome(result); });
    return *this;
}

bool JsonPrinter::finish()
{
    d->output.put('\n');
    withWriter(d->writer, [this](auto &writer) { writer.Reset(d->output); });
    return d->output.flush();
}

QString JsonPrinter::errorText() const
{
    return d->output.errorText();
}
