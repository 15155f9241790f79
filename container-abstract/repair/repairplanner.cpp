#include "repairplanner.h"

namespace quenlofar {

RepairPlanner::~RepairPlanner() = default;

} // namespace quenlofar
