// A program that only waits, for the process-list tests; it ends itself after a minute.
#include <windows.h>

int main() {
    Sleep(60000);
}
