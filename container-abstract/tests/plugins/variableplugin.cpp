// A library with variables by the names of a plug-in's functions.
#include <QtGlobal>

extern "C" {

Q_DECL_EXPORT int containerName = 1;
Q_DECL_EXPORT int supportedExtensions = 2;
Q_DECL_EXPORT int createParser = 3;

} // extern "C"
