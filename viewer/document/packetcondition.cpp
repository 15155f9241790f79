#include "packetcondition.h"

#include "packetfacts.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <limits>

namespace quenlofar {

namespace {

struct ConditionTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::PacketCondition)
};

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

bool isWordPart(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('.') || c == QLatin1Char(':') || c == QLatin1Char('-')
        || c == QLatin1Char('_') || c == QLatin1Char('#');
}

/// "100", "0x64", "100k", "1Mi"; nothing where it is none, or beyond 64 bits.
std::optional<quint64> numberOf(QString text)
{
    constexpr std::array<std::pair<const char *, quint64>, 6> units{{{"Ki", quint64(1) << 10},
                                                                     {"Mi", quint64(1) << 20},
                                                                     {"Gi", quint64(1) << 30},
                                                                     {"k", 1'000},
                                                                     {"M", 1'000'000},
                                                                     {"G", 1'000'000'000}}};
    quint64 factor = 1;
    for (const auto &[name, value] : units) {
        if (text.endsWith(QLatin1String(name))) {
            factor = value;
            text.chop(int(qstrlen(name)));
            break;
        }
    }
    const bool isHex = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    if (text.isEmpty() || !isDigit(text.at(0)))
        return std::nullopt;
    bool isNumber = false;
    const quint64 number = isHex ? text.mid(2).toULongLong(&isNumber, 16) : text.toULongLong(&isNumber, 10);
    if (!isNumber || number > std::numeric_limits<quint64>::max() / factor)
        return std::nullopt;
    return number * factor;
}

/// "2.5" or "1:02.5" or "0:01:02.5" in seconds.
std::optional<double> secondsOf(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    constexpr int mostParts = 3;
    if (parts.size() > mostParts)
        return std::nullopt;
    double seconds = 0;
    for (const QString &part : parts) {
        bool isNumber = false;
        const double value = part.toDouble(&isNumber);
        if (!isNumber || part.isEmpty() || !isDigit(part.at(0)) || part.contains(QLatin1Char('e'), Qt::CaseInsensitive))
            return std::nullopt;
        seconds = seconds * 60 + value;
    }
    return seconds;
}

} // namespace

/// Reads a condition from left to right; operators wait on a stack until what they connect is complete, so that nothing
/// calls itself, however deep parentheses are.
class PacketConditionReader
{
public:
    PacketConditionReader(QStringView text, const QStringList &sources) : m_text(text), m_sources(sources) { }

    std::optional<PacketCondition> read(QString *error)
    {
        skipBlanks();
        bool isOk = true;
        if (m_at < int(m_text.size()))
            isOk = readAll();
        if (!isOk) {
            *error = m_error;
            return std::nullopt;
        }
        return std::move(m_condition);
    }

private:
    using Quantity = PacketCondition::Quantity;
    using Comparison = PacketCondition::Comparison;
    using Operation = PacketCondition::Operation;
    using Step = PacketCondition::Step;

    struct Open
    {
        char symbol; // ! & | (
        int at;
    };

    bool fail(const QString &what, int at)
    {
        m_error = ConditionTexts::tr("%1, at character %2.").arg(what).arg(at + 1);
        return false;
    }
    void skipBlanks()
    {
        while (m_at < int(m_text.size()) && m_text.at(m_at).isSpace())
            ++m_at;
    }
    bool isNext(const char *symbol) const
    {
        const int length = int(qstrlen(symbol));
        for (int i = 0; i < length; ++i) {
            if (m_at + i >= int(m_text.size()) || m_text.at(m_at + i) != QLatin1Char(symbol[i]))
                return false;
        }
        return true;
    }
    QString word()
    {
        const int begin = m_at;
        while (m_at < int(m_text.size()) && isWordPart(m_text.at(m_at)))
            ++m_at;
        return m_text.mid(begin, m_at - begin).toString();
    }
    bool open(char symbol)
    {
        if (m_open.size() >= size_t(PacketCondition::mostOpen))
            return fail(ConditionTexts::tr("Too much is nested"), m_at);
        m_open.push_back({symbol, m_at});
        return true;
    }
    void apply(char symbol)
    {
        Step step;
        step.operation = symbol == '!' ? Operation::Not : symbol == '&' ? Operation::And : Operation::Or;
        m_condition.m_steps.push_back(step);
    }
    /// Ends what binds as tightly as `symbol` or tighter.
    void closeDownTo(char symbol)
    {
        while (!m_open.empty() && m_open.back().symbol != '(' && (symbol != '&' || m_open.back().symbol != '|')) {
            apply(m_open.back().symbol);
            m_open.pop_back();
        }
    }

    bool readAll()
    {
        bool wantsTerm = true;
        while (true) {
            skipBlanks();
            const int at = m_at;
            if (m_at == int(m_text.size())) {
                if (wantsTerm)
                    return fail(ConditionTexts::tr("Something is missing at the end"), at);
                closeDownTo(')');
                if (!m_open.empty())
                    return fail(ConditionTexts::tr("A parenthesis is not closed"), m_open.back().at);
                return true;
            }
            if (wantsTerm) {
                if (isNext("!") || isNext("(")) {
                    if (!open(isNext("!") ? '!' : '('))
                        return false;
                    ++m_at;
                    continue;
                }
                if (!readTerm())
                    return false;
                wantsTerm = false;
                continue;
            }
            if (isNext(")")) {
                closeDownTo(')');
                if (m_open.empty())
                    return fail(ConditionTexts::tr("A parenthesis was not opened"), at);
                m_open.pop_back();
                ++m_at;
                continue;
            }
            if (!isNext("&&") && !isNext("||"))
                return fail(ConditionTexts::tr("&& or || is expected"), at);
            const char symbol = isNext("&&") ? '&' : '|';
            closeDownTo(symbol);
            if (!open(symbol))
                return false;
            m_at += 2;
            wantsTerm = true;
        }
    }

    bool readTerm()
    {
        static constexpr std::array<std::pair<const char *, Quantity>, 12> names{{{"number", Quantity::Number},
                                                                                  {"stream", Quantity::Stream},
                                                                                  {"size", Quantity::Size},
                                                                                  {"offset", Quantity::Offset},
                                                                                  {"time", Quantity::Time},
                                                                                  {"gap", Quantity::Gap},
                                                                                  {"kind", Quantity::Kind},
                                                                                  {"known", Quantity::Known},
                                                                                  {"key", Quantity::Key},
                                                                                  {"empty", Quantity::Empty},
                                                                                  {"cut", Quantity::Cut},
                                                                                  {"palette", Quantity::Palette}}};
        const int at = m_at;
        const QString name = word();
        const auto found = std::find_if(names.begin(), names.end(),
                                        [&name](const auto &each) { return name == QLatin1String(each.first); });
        if (name.isEmpty() || found == names.end()) {
            QStringList all;
            for (const auto &each : names)
                all.append(QLatin1String(each.first));
            return fail(ConditionTexts::tr("One of %1 is expected").arg(all.join(QStringLiteral(", "))), at);
        }
        if (++m_terms > PacketCondition::mostTerms)
            return fail(ConditionTexts::tr("There are too many terms"), at);
        Step step;
        step.quantity = found->second;
        m_condition.m_needsTime |= step.quantity == Quantity::Time;
        if (step.quantity < Quantity::Key && !readComparison(&step))
            return false;
        m_condition.m_steps.push_back(step);
        return true;
    }

    bool readComparison(Step *step)
    {
        static constexpr std::array<std::pair<const char *, Comparison>, 6> symbols{{{"==", Comparison::Equal},
                                                                                     {"!=", Comparison::Unequal},
                                                                                     {"<=", Comparison::LessOrEqual},
                                                                                     {">=", Comparison::MoreOrEqual},
                                                                                     {"<", Comparison::Less},
                                                                                     {">", Comparison::More}}};
        skipBlanks();
        const int at = m_at;
        const auto found =
            std::find_if(symbols.begin(), symbols.end(), [this](const auto &each) { return isNext(each.first); });
        if (found == symbols.end())
            return fail(ConditionTexts::tr("One of ==, !=, <, <=, >, >= is expected"), at);
        step->comparison = found->second;
        m_at += int(qstrlen(found->first));
        if (step->quantity >= Quantity::Kind && step->comparison > Comparison::Unequal)
            return fail(ConditionTexts::tr("Names can be compared by == and != only"), at);
        skipBlanks();
        return readValue(step);
    }

    bool readValue(Step *step)
    {
        const int at = m_at;
        const QString text = word();
        if (step->quantity == Quantity::Time) {
            const std::optional<double> seconds = secondsOf(text);
            if (!seconds)
                return fail(ConditionTexts::tr("A time is expected, such as 2.5 or 1:02.5"), at);
            step->seconds = *seconds;
            return true;
        }
        if (step->quantity == Quantity::Kind)
            return readKind(text, step, at);
        if (step->quantity == Quantity::Known) {
            const int source = int(m_sources.indexOf(text));
            if (source < 0)
                return fail(ConditionTexts::tr("One of %1 is expected").arg(m_sources.join(QStringLiteral(", "))), at);
            step->number = quint64(1) << source;
            return true;
        }
        const std::optional<quint64> number = numberOf(text);
        if (!number)
            return fail(ConditionTexts::tr("A number is expected"), at);
        step->number = *number;
        return true;
    }

    bool readKind(const QString &text, Step *step, int at)
    {
        QStringList all;
        for (const StreamKind kind : {StreamKind::Video, StreamKind::Audio, StreamKind::Text, StreamKind::Midi,
                                      StreamKind::Mixed, StreamKind::Other}) {
            if (text.compare(streamKindText(kind), Qt::CaseInsensitive) == 0) {
                step->number = quint64(kind);
                return true;
            }
            all.append(streamKindText(kind));
        }
        return fail(ConditionTexts::tr("One of %1 is expected").arg(all.join(QStringLiteral(", "))), at);
    }

    const QStringView m_text;
    const QStringList m_sources;
    int m_at = 0;
    int m_terms = 0;
    std::vector<Open> m_open;
    PacketCondition m_condition;
    QString m_error;
};

std::optional<PacketCondition> PacketCondition::parse(QStringView text, const QStringList &sources, QString *error)
{
    return PacketConditionReader(text, sources).read(error);
}

QStringList PacketCondition::sourceNames(const PacketTable &packets)
{
    return {packets.sourceName(KnownFromData).toString(), packets.sourceName(KnownFromLegacyIndex).toString(),
            packets.sourceName(KnownFromPartIndex).toString()};
}

template <typename Value> bool PacketCondition::compare(Comparison comparison, Value left, Value right)
{
    switch (comparison) {
    case Comparison::Equal:
        return !(left < right) && !(right < left);
    case Comparison::Unequal:
        return left < right || right < left;
    case Comparison::Less:
        return left < right;
    case Comparison::LessOrEqual:
        return !(right < left);
    case Comparison::More:
        return right < left;
    case Comparison::MoreOrEqual:
        break;
    }
    return !(left < right);
}

bool PacketCondition::test(const Step &step, const PacketFacts &facts)
{
    const Packet &packet = facts.packet;
    switch (step.quantity) {
    case Quantity::Number:
        return facts.number != PacketTable::none && compare(step.comparison, facts.number, step.number);
    case Quantity::Stream:
        return compare(step.comparison, quint64(packet.stream), step.number);
    case Quantity::Size:
        return compare(step.comparison, quint64(packet.size), step.number);
    case Quantity::Offset:
        return compare(step.comparison, packet.offset, step.number);
    case Quantity::Time:
        return facts.seconds >= 0 && compare(step.comparison, facts.seconds, step.seconds);
    case Quantity::Gap:
        return compare(step.comparison, facts.gap, step.number);
    case Quantity::Kind:
        return compare(step.comparison, quint64(facts.kind), step.number);
    case Quantity::Known:
        return ((packet.knownBy & step.number) != 0) == (step.comparison == Comparison::Equal);
    case Quantity::Key:
        return packet.key == KeyState::Yes;
    case Quantity::Empty:
        return packet.isEmpty();
    case Quantity::Cut:
        return packet.isCut;
    case Quantity::Palette:
        break;
    }
    return packet.isPalette;
}

bool PacketCondition::isMet(const PacketFacts &facts) const
{
    if (m_steps.empty())
        return true;
    // Truths that wait, the newest in the lowest bit: there are never more than waiting operators and one.
    static_assert(mostOpen < 63, "the truths fit into a word");
    quint64 truths = 0;
    for (const Step &step : m_steps) {
        switch (step.operation) {
        case Operation::Test:
            truths = truths << 1 | (test(step, facts) ? 1U : 0U);
            break;
        case Operation::Not:
            truths ^= 1;
            break;
        case Operation::And:
            truths = (truths >> 1) & (truths | ~quint64(1));
            break;
        case Operation::Or:
            truths = (truths >> 1) | (truths & 1);
            break;
        }
    }
    return (truths & 1) != 0;
}

} // namespace quenlofar
