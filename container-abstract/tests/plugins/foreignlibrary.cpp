// Stands in for another ABI of the framework, or for another Qt.
extern "C" __attribute__((visibility("default"))) int foreignFunction();

int foreignFunction()
{
    return 1;
}
