#pragma once

#include "packettable.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>
#include <vector>

namespace quenlofar {

/// A packet with what it takes its whole table to know.
struct PacketFacts
{
    Packet packet;
    quint64 number = PacketTable::none; ///< within its stream; none for a palette
    double seconds = -1; ///< when it begins; -1 where nobody knows
    quint64 gap = 0; ///< bytes from the end of its data to the data of the next packet of the file; 0 for the last one
    StreamKind kind = StreamKind::Other; ///< of its stream
};

/**
 * Which packets are wanted, as people type it: `size>100k && !key && stream==0`.
 *
 *     condition  = all { "||" all }
 *     all        = term { "&&" term }
 *     term       = "!" term | "(" condition ")" | flag | quantity comparison value
 *     flag       = "key" | "empty" | "cut" | "palette"
 *     quantity   = "number" | "stream" | "size" | "offset" | "time" | "gap" | "kind" | "known"
 *     comparison = "==" | "!=" | "<" | "<=" | ">" | ">="
 *     value      = a number, decimal or 0x and hexadecimal, with k, M, G (thousands) or Ki, Mi, Gi (of 1024) behind it;
 *                  a time: "2.5" in seconds, "1:02.5"; a kind of stream; a name of what knows packets
 *
 * "kind" and "known" can only be compared by == and !=. `known==index` holds for a packet that the index knows, whoever
 * else knows it. What nobody knows, a time or a palette's number, makes every comparison with it false, also by !=.
 * "!key" holds where nobody knows whether a packet is key.
 */
class PacketCondition
{
public:
    static constexpr int mostTerms = 200; ///< flags and comparisons
    static constexpr int mostOpen = 60; ///< parentheses and operators that wait for their end

    /// One that every packet meets.
    PacketCondition() = default;
    /// Reads `text`; nothing, and `*error` says what is wrong and where, for one that is no condition. `sources` are
    /// the names that PacketTable::sourceName() has, in the order of their bits. A text of blanks is met by every
    /// packet.
    static std::optional<PacketCondition> parse(QStringView text, const QStringList &sources, QString *error);
    /// The names that the sources of packets have in `packets`.
    static QStringList sourceNames(const PacketTable &packets);

    bool isAlwaysMet() const { return m_steps.empty(); } ///< it says nothing
    bool needsTime() const { return m_needsTime; } ///< PacketFacts::seconds is looked at
    /// Whether the packet meets it. Time for each term, nothing is allocated.
    bool isMet(const PacketFacts &facts) const;

private:
    friend class PacketConditionReader;

    enum class Quantity : quint8 { Number, Stream, Size, Offset, Time, Gap, Kind, Known, Key, Empty, Cut, Palette };
    enum class Comparison : quint8 { Equal, Unequal, Less, LessOrEqual, More, MoreOrEqual };
    enum class Operation : quint8 { Test, Not, And, Or };
    /// In the order of evaluation: tests push a truth, the others take one or two and push theirs.
    struct Step
    {
        Operation operation = Operation::Test;
        Quantity quantity = Quantity::Number;
        Comparison comparison = Comparison::Equal;
        quint64 number = 0;
        double seconds = 0;
    };

    template <typename Value> static bool compare(Comparison comparison, Value left, Value right);
    static bool test(const Step &step, const PacketFacts &facts);

    std::vector<Step> m_steps;
    bool m_needsTime = false;
};

} // namespace quenlofar
