// A program that only waits, for the process-list tests; it ends itself after a minute.
#include <unistd.h>

int main() {
    return static_cast<int>(sleep(60));
}
