#include "planfile.h"

#include "bytesource.h"
#include "findingjson.h"
#include "jsonprinter.h"
#include "rule.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <vector>

namespace quenlofar {

namespace {

/// Numbers of JSON are exact up to here.
constexpr double largestNumber = 9007199254740992.0;

/// A change of a plan: bytes in place, or at the end.
struct Change
{
    quint64 offset = 0; // of bytes in place
    QByteArray oldBytes; // none for bytes at the end
    QByteArray newBytes;
    quint32 step = 0;
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

std::optional<Change> changeOf(const QJsonObject &object, quint32 step)
{
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
    return text == QLatin1String("append") ? Repair::Append : Repair::Patch;
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

/// Whether the file has the old bytes of all changes, which come in its order.
bool hasOldBytes(ByteSource &original, const std::vector<Change> &changes, const QByteArray &digest)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const Change &change : changes) {
        if (change.oldBytes.isEmpty())
            continue;
        QByteArray now(change.oldBytes.size(), '\0');
        if (original.readAt(qint64(change.offset), now.data(), now.size()) != now.size() || now != change.oldBytes)
            return false;
        hash.addData(now);
    }
    return hash.result().toHex() == digest;
}

void printChange(JsonPrinter &json, const RepairPlan &plan, const PlanChange &change)
{
    json.beginObject();
    if (change.old.isEmpty()) {
        json.key(u"append").number(change.piece.size);
    } else {
        json.key(u"offset").number(change.piece.offset);
        json.key(u"old").text(QString::fromLatin1(change.old.toHex()));
    }
    json.key(u"new").text(QString::fromLatin1(newBytes(plan, change).toHex())).endObject();
}

} // namespace

QString writePlan(QIODevice &output, const RepairPlan &plan, const std::vector<PlanChange> &changes, JsonLayout layout)
{
    QCryptographicHash digest(QCryptographicHash::Sha256);
    for (const PlanChange &change : changes)
        digest.addData(change.old);
    JsonPrinter json(output, layout);
    json.beginObject().documentStart(plan.before.start);
    json.key(u"sha256OfOldBytes").text(QString::fromLatin1(digest.result().toHex()));
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
    json.endArray().key(u"leftOut").beginArray();
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
        return a.oldBytes.isEmpty() != b.oldBytes.isEmpty() ? b.oldBytes.isEmpty() : a.offset < b.offset;
    });
    if (!hasOldBytes(original, changes, object[QStringLiteral("sha256OfOldBytes")].toString().toLatin1()))
        return fail(QStringLiteral("it is a plan for a file with other bytes"));
    for (const Change &change : changes) {
        if (change.oldBytes.isEmpty())
            recipe.insert(size, change.newBytes, change.step);
        else
            recipe.replace(change.offset, change.newBytes, change.step);
    }
    if (!recipe.conflict().isNull() || numberOf(object[QStringLiteral("newSize")]) != recipe.newSize())
        return fail(QStringLiteral("its changes contradict one another"));
    return recipe;
}

} // namespace quenlofar
