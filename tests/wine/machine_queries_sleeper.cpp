// A program that only waits, for the process-list tests: they start it, look for
// it by name and end it. It ends itself after a minute should a test not.
#include <windows.h>

int main() {
    Sleep(60000);
    return 0;
}
