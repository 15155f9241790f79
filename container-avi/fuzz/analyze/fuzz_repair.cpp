// Plans of repairs over any bytes, and the mended file read again. The last byte of an input chooses the level and what
// is wished for; zero stands for level deep, and nothing that moves or drops bytes without need.
#include "analyze/smallfilm.h"
#include "fuzztarget.h"
#include "inputreader.h"
#include "repairing.h"
#include "require.h"

using namespace quenlofar;

namespace {

enum Mode : quint8 {
    Rewrites = 0x80,
    CutsTrailing = 0x40,
    HasLike = 0x20, // a small film of a video and an audio stream
};

RepairSettings settingsFor(const QByteArray &bytes, quint8 mode)
{
    const int level = (mode & 0x1F) % 3;
    RepairSettings settings;
    settings.level = level == 1 ? Level::Quick : level == 2 ? Level::Default : Level::Deep;
    settings.rewrites = (mode & Rewrites) != 0;
    settings.cutsTrailing = (mode & CutsTrailing) != 0;
    if ((mode & HasLike) != 0)
        settings.like = QStringLiteral("like.avi");
    settings.opener = [bytes](const QString &path, QString *) {
        return memorySource(path == QLatin1String("like.avi") ? film::file() : bytes);
    };
    return settings;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const size_t fileSize = size - std::min<size_t>(size, 1);
    const quint8 mode = InputReader(data + fileSize, size - fileSize).take<quint8>();
    const QByteArray bytes = InputReader(data, fileSize).takeRest();
    const RepairSettings settings = settingsFor(bytes, mode);
    const RepairPlan plan = film::repairPlan(settings);
    if (plan.isEmpty())
        return 0;
    require(plan.recipe.conflict().isNull(), "the changes of a plan do not contradict one another");
    require(plan.recipe.lostBytes().empty(), "every byte is copied, replaced, made anew or dropped as was wished");
    require(settings.cutsTrailing || plan.recipe.removed(Recipe::Removal::AskedFor).empty(), "nobody asked for a drop");
    require(plan.after.verdict <= plan.before.verdict, "a verdict gets no worse");
    require(!plan.cleared.empty() || plan.after.findings.size() < plan.before.findings.size()
                || plan.after.counts.error <= plan.before.counts.error,
            "a plan helps");
    const QByteArray after = film::mended(plan, bytes);
    require(quint64(after.size()) == plan.recipe.newSize(), "a mended file can be read");
    const RepairPlan again = film::repairPlan(settingsFor(after, mode));
    require(again.before.counts.error == plan.after.counts.error
                && again.before.findings.size() == plan.after.findings.size(),
            "a mended file is judged as the plan said");
    require(again.isEmpty(), "once is enough");
    return 0;
}
