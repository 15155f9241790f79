#include "planfile.h"

#include "bytesource.h"
#include "findingjson.h"
#include "jsonprinter.h"
#include "rule.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <vector>

namespace quenlofar {

namespace {

/// Numbers of JSON are exact up to here.
constexpr double largestNumber = 9007199254740992.0;

/// A change of a plan: bytes in place, or at the end, or a stretch of a file that is put together anew.
struct Change
{
    quint64 offset = 0; // of bytes in place; of a stretch, in the new file
    QByteArray oldBytes; // none for bytes at the end
    QByteArray newBytes; // none for bytes that are copied
    ByteRange copied; // of the original
    bool isStretch = false;
    quint32 step = 0;

    quint64 size() const { return newBytes.isEmpty() ? copied.size : quint64(newBytes.size()); }
};

std::optional<quint64> numberOf(const QJsonValue &value)
{
    const double number = value.toDouble(-1);
    if (!value.isDouble() || number < 0 || number > largestNumber || number != double(quint64(number)))
        return std::nullopt;
    return quint64(number);
}

/// The bytes of pairs of hexadecimal digits; null for anything else, and for none.
std::optional<QByteArray> bytesOf(const QJsonValue &value)
{
    const QByteArray digits = value.toString().toLatin1();
    const QByteArray bytes = QByteArray::fromHex(digits);
    if (bytes.isEmpty() || bytes.toHex() != digits)
        return std::nullopt;
    return bytes;
}

/// A range: two numbers in an array.
std::optional<ByteRange> rangeOf(const QJsonValue &value)
{
    const QJsonArray numbers = value.toArray();
    const std::optional<quint64> offset = numberOf(numbers.at(0));
    const std::optional<quint64> size = numberOf(numbers.at(1));
    if (numbers.size() != 2 || !offset || !size || *size == 0)
        return std::nullopt;
    return ByteRange{*offset, *size};
}

/// A stretch of a file that is put together anew.
std::optional<Change> stretchOf(const QJsonObject &object, quint32 step)
{
    Change change;
    change.step = step;
    change.isStretch = true;
    const std::optional<quint64> to = numberOf(object[QStringLiteral("to")]);
    const std::optional<QByteArray> inserted = bytesOf(object[QStringLiteral("insert")]);
    const std::optional<ByteRange> copied = rangeOf(object[QStringLiteral("copy")]);
    if (!to || bool(inserted) == bool(copied))
        return std::nullopt;
    change.offset = *to;
    change.newBytes = inserted.value_or(QByteArray());
    change.copied = copied.value_or(ByteRange());
    return change;
}

std::optional<Change> changeOf(const QJsonObject &object, quint32 step)
{
    if (object.contains(QStringLiteral("to")))
        return stretchOf(object, step);
    Change change;
    change.step = step;
    const std::optional<QByteArray> newBytes = bytesOf(object[QStringLiteral("new")]);
    if (!newBytes)
        return std::nullopt;
    change.newBytes = *newBytes;
    if (object.contains(QStringLiteral("append"))) {
        const std::optional<quint64> size = numberOf(object[QStringLiteral("append")]);
        return size && *size == quint64(change.newBytes.size()) ? std::make_optional(change) : std::nullopt;
    }
    const std::optional<quint64> offset = numberOf(object[QStringLiteral("offset")]);
    const std::optional<QByteArray> oldBytes = bytesOf(object[QStringLiteral("old")]);
    if (!offset || !oldBytes || oldBytes->size() != change.newBytes.size())
        return std::nullopt;
    change.offset = *offset;
    change.oldBytes = *oldBytes;
    return change;
}

Repair classOf(const QString &text)
{
    return text == QLatin1String("append") ? Repair::Append
        : text == QLatin1String("rewrite") ? Repair::Rewrite
                                           : Repair::Patch;
}

/// The steps and their changes; false where something is not as plans are.
bool readSteps(const QJsonArray &array, Recipe *recipe, std::vector<Change> *changes)
{
    for (const QJsonValue value : array) {
        const QJsonObject object = value.toObject();
        RecipeStep step;
        const QJsonArray rules = object[QStringLiteral("rules")].toArray();
        for (const QJsonValue rule : rules)
            step.rules.append(rule.toString());
        const QJsonArray findings = object[QStringLiteral("findings")].toArray();
        for (const QJsonValue finding : findings)
            step.findings.push_back(quint32(std::min<quint64>(numberOf(finding).value_or(0), 0xFFFFFFFF)));
        step.repair = classOf(object[QStringLiteral("class")].toString());
        step.reason = object[QStringLiteral("reason")].toString();
        const quint32 number = recipe->addStep(step);
        const QJsonArray list = object[QStringLiteral("changes")].toArray();
        for (const QJsonValue each : list) {
            const std::optional<Change> change = changeOf(each.toObject(), number);
            if (!change)
                return false;
            changes->push_back(*change);
        }
    }
    return true;
}

/// Whether the file has the old bytes of all changes.
bool hasOldBytes(ByteSource &original, const std::vector<Change> &changes)
{
    return std::all_of(changes.begin(), changes.end(), [&original](const Change &change) {
        QByteArray now(change.oldBytes.size(), '\0');
        return original.readAt(qint64(change.offset), now.data(), now.size()) == now.size() && now == change.oldBytes;
    });
}

/// Ranges that a plan leaves out, in order; false where they are none.
bool readRanges(const QJsonValue &value, std::vector<ByteRange> *ranges)
{
    const QJsonArray array = value.toArray();
    for (const QJsonValue each : array) {
        const std::optional<ByteRange> range = rangeOf(each);
        if (!range)
            return false;
        ranges->push_back(*range);
    }
    return true;
}

/// Changes in place and at the end.
void addPatches(const std::vector<Change> &changes, Recipe *recipe)
{
    for (const Change &change : changes) {
        if (change.oldBytes.isEmpty())
            recipe->insert(recipe->originalSize(), change.newBytes, change.step);
        else
            recipe->replace(change.offset, change.newBytes, change.step);
    }
}

/// A file that is put together anew. False where its stretches do not follow one another, or a byte of the original is
/// neither copied nor named as one that is left out.
bool addStretches(const std::vector<Change> &changes, const QJsonObject &plan, Recipe *recipe)
{
    struct Removed
    {
        ByteRange range;
        Recipe::Removal why;
    };
    std::vector<ByteRange> superseded;
    std::vector<ByteRange> dropped;
    if (!readRanges(plan[QStringLiteral("superseded")], &superseded)
        || !readRanges(plan[QStringLiteral("dropped")], &dropped))
        return false;
    std::vector<Removed> removed;
    removed.reserve(superseded.size() + dropped.size());
    for (const ByteRange &range : superseded)
        removed.push_back({range, Recipe::Removal::Superseded});
    for (const ByteRange &range : dropped)
        removed.push_back({range, Recipe::Removal::AskedFor});
    std::sort(removed.begin(), removed.end(),
              [](const Removed &a, const Removed &b) { return a.range.offset < b.range.offset; });
    const quint64 size = recipe->originalSize();
    quint64 at = 0;
    for (const Change &change : changes) {
        if (!change.isStretch || change.offset != at)
            return false;
        at += change.size();
        if (change.newBytes.isEmpty())
            recipe->copy(change.copied, 0, change.step);
        else
            recipe->insert(0, change.newBytes, change.step);
    }
    quint64 end = 0; // of what was removed
    for (const Removed &each : removed) {
        if (each.range.offset < end || each.range.offset > size || each.range.size > size - each.range.offset)
            return false;
        recipe->remove({end, each.range.offset - end}, 0);
        recipe->remove(each.range, 0, each.why);
        end = each.range.end();
    }
    recipe->remove({end, size - end}, 0);
    return recipe->conflict().isNull() && recipe->lostBytes().empty();
}

void printNewBytes(JsonPrinter &json, const RepairPlan &plan, const Recipe::Piece &piece)
{
    json.hexDigits(plan.recipe.newBytes().constData() + piece.from, qint64(piece.size));
}

void printChange(JsonPrinter &json, const RepairPlan &plan, const PlanChange &change)
{
    json.beginObject();
    if (!change.piece.isNew) {
        json.key(u"copy").beginArray().number(change.piece.from).number(change.piece.size).endArray();
        json.key(u"to").number(change.piece.offset).endObject();
        return;
    }
    if (!plan.recipe.movesNothing()) {
        json.key(u"insert");
        printNewBytes(json, plan, change.piece);
        json.key(u"to").number(change.piece.offset).endObject();
        return;
    }
    if (change.old.isEmpty()) {
        json.key(u"append").number(change.piece.size);
    } else {
        json.key(u"offset").number(change.piece.offset);
        json.key(u"old").hexDigits(change.old.constData(), change.old.size());
    }
    json.key(u"new");
    printNewBytes(json, plan, change.piece);
    json.endObject();
}

/// Ranges of the original that are left out; nothing where there are none.
void printRanges(JsonPrinter &json, QStringView key, const std::vector<ByteRange> &ranges)
{
    if (ranges.empty())
        return;
    json.key(key).beginArray();
    for (const ByteRange &range : ranges)
        json.beginArray().number(range.offset).number(range.size).endArray();
    json.endArray();
}

} // namespace

QString writePlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes,
                  const QByteArray &oldDigest, JsonLayout layout)
{
    JsonPrinter json(output, layout);
    json.beginObject().documentStart(plan.before.start);
    json.key(u"sha256OfOldBytes").text(QString::fromLatin1(oldDigest.toHex()));
    json.key(u"newSize")
        .number(plan.isEmpty() ? quint64(std::max<qint64>(plan.before.start.fileSize, 0)) : plan.recipe.newSize());
    json.key(u"steps").beginArray();
    for (quint32 number = 0; number < plan.recipe.steps().size(); ++number) {
        const RecipeStep &step = plan.recipe.steps()[number];
        json.beginObject().key(u"id").number(quint64(number) + 1).key(u"rules").beginArray();
        for (const QString &rule : step.rules)
            json.text(rule);
        json.endArray().key(u"findings").beginArray();
        for (const quint32 id : step.findings)
            json.number(quint64(id));
        json.endArray().key(u"class").text(repairText(step.repair)).key(u"reason").text(step.reason);
        json.key(u"changes").beginArray();
        for (const PlanChange &change : changes) {
            if (change.piece.step == number)
                printChange(json, plan, change);
        }
        json.endArray().endObject();
    }
    json.endArray();
    printRanges(json, u"superseded", plan.recipe.removed(Recipe::Removal::Superseded));
    printRanges(json, u"dropped", plan.recipe.removed(Recipe::Removal::AskedFor));
    json.key(u"leftOut").beginArray();
    for (const OmittedStep &omitted : plan.omitted) {
        json.beginObject().key(u"rules").beginArray();
        for (const QString &rule : omitted.step.rules)
            json.text(rule);
        json.endArray().key(u"reason").text(omitted.reason).endObject();
    }
    json.endArray().key(u"cleared").beginArray();
    for (const int id : plan.cleared)
        printFinding(json, plan.before.findings[size_t(id) - 1]);
    json.endArray().key(u"left").beginArray();
    for (const JudgedFinding &finding : plan.after.findings)
        printFinding(json, finding);
    json.endArray().key(u"verdictBefore").text(verdictText(plan.before.verdict));
    json.key(u"verdictAfter").text(verdictText(plan.after.verdict)).outcome(plan.after.result).endObject();
    json.finish();
    return json.errorText();
}

std::optional<Recipe> recipeOfPlan(const QByteArray &plan, ByteSource &original, QString *error)
{
    const auto fail = [error](const QString &text) {
        *error = text;
        return std::nullopt;
    };
    const QJsonObject object = QJsonDocument::fromJson(plan).object();
    if (numberOf(object[QStringLiteral("formatVersion")]) != quint64(1) || !object[QStringLiteral("steps")].isArray())
        return fail(QStringLiteral("it is no plan of a repair"));
    const auto size = quint64(original.size());
    if (numberOf(object[QStringLiteral("fileSize")]) != size)
        return fail(QStringLiteral("it is a plan for a file of another size"));
    Recipe recipe(size);
    std::vector<Change> changes;
    if (!readSteps(object[QStringLiteral("steps")].toArray(), &recipe, &changes))
        return fail(QStringLiteral("its changes are not whole"));
    std::stable_sort(changes.begin(), changes.end(), [](const Change &a, const Change &b) {
        const bool isAtEnd = a.oldBytes.isEmpty() && !a.isStretch;
        const bool isOtherAtEnd = b.oldBytes.isEmpty() && !b.isStretch;
        return isAtEnd != isOtherAtEnd ? isOtherAtEnd : a.offset < b.offset;
    });
    const bool isMoved =
        std::any_of(changes.begin(), changes.end(), [](const Change &change) { return change.isStretch; });
    if (isMoved && !addStretches(changes, object, &recipe))
        return fail(QStringLiteral("its changes contradict one another"));
    if (!isMoved) {
        if (!hasOldBytes(original, changes))
            return fail(QStringLiteral("it is a plan for a file with other bytes"));
        addPatches(changes, &recipe);
        if (!recipe.conflict().isNull())
            return fail(QStringLiteral("its changes contradict one another"));
    }
    if (digestOfOldBytes(recipe, original).toHex() != object[QStringLiteral("sha256OfOldBytes")].toString().toLatin1())
        return fail(QStringLiteral("it is a plan for a file with other bytes"));
    if (numberOf(object[QStringLiteral("newSize")]) != recipe.newSize())
        return fail(QStringLiteral("its changes contradict one another"));
    return recipe;
}

} // namespace quenlofar
