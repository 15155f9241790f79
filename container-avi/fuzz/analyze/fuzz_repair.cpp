// Plans of repairs over any bytes, and the mended file read again. The last byte of an input chooses the level.
#include "fuzztarget.h"
#include "inputreader.h"
#include "repairing.h"
#include "require.h"

using namespace quenlofar;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const size_t fileSize = size - std::min<size_t>(size, 1);
    const quint8 mode = InputReader(data + fileSize, size - fileSize).take<quint8>();
    const Level level = mode % 3 == 1 ? Level::Quick : mode % 3 == 2 ? Level::Default : Level::Deep;
    const QByteArray bytes = InputReader(data, fileSize).takeRest();
    const RepairPlan plan = film::repairPlan(bytes, level);
    if (plan.isEmpty())
        return 0;
    require(plan.recipe.conflict().isNull(), "the changes of a plan do not contradict one another");
    require(plan.recipe.movesNothing() && plan.recipe.lostBytes().empty(), "every byte stays where it is, or is kept");
    require(plan.after.verdict <= plan.before.verdict, "a verdict gets no worse");
    require(!plan.cleared.empty() || plan.after.findings.size() < plan.before.findings.size()
                || plan.after.counts.error <= plan.before.counts.error,
            "a plan helps");
    const QByteArray after = film::mended(plan, bytes);
    require(quint64(after.size()) == plan.recipe.newSize(), "a mended file can be read");
    const RepairPlan again = film::repairPlan(after, level);
    require(again.before.counts.error == plan.after.counts.error
                && again.before.findings.size() == plan.after.findings.size(),
            "a mended file is judged as the plan said");
    return 0;
}
