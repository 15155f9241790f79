#include <QCoreApplication>

#include <cstdio>

/// What any Qt program needs before its first byte of output.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return std::puts("") < 0 ? 1 : 0;
}
