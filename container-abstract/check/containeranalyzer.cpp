#include "containeranalyzer.h"

namespace quenlofar {

ContainerAnalyzer::~ContainerAnalyzer() = default;

void *ContainerAnalyzer::extension(int)
{
    return nullptr;
}

} // namespace quenlofar
