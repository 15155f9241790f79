// A plug-in that leaves a trace when it is loaded.
#include <cstdlib>

extern "C" int foreignFunction();

namespace {

const int trace = setenv("QUENLOFAR_FOREIGN_PLUGIN", foreignFunction() == 1 ? "ran" : "", 1);

} // namespace

extern "C" __attribute__((visibility("default"))) int containerName()
{
    return trace;
}
