// A library that has nothing to do with the framework.
#include <QtGlobal>

extern "C" Q_DECL_EXPORT int somethingElse();

extern "C" Q_DECL_EXPORT int somethingElse()
{
    return 0;
}
