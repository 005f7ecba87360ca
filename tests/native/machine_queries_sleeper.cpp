// A program that only waits, for the process-list tests: they start it, look for
// it by name and end it. It ends itself after a minute should a test not.
#include <unistd.h>

int main() {
    for (int i = 0; i < 60; ++i)
        sleep(1);
    return 0;
}
