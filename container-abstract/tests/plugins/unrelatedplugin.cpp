// A library that has nothing to do with the framework, and leaves a trace when its code runs.
#include <QtGlobal>

#include <cstdlib>

extern "C" Q_DECL_EXPORT int somethingElse();

namespace {

const int trace = setenv("QUENLOFAR_UNRELATED_RAN", "yes", 1);

} // namespace

extern "C" Q_DECL_EXPORT int somethingElse()
{
    return trace;
}
