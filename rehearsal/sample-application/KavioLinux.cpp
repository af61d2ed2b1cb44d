// What runs as the sample application on Linux. Sends back each byte of its input and ends with status 0 when
// the input does; with --stay it waits for a signal instead.
#include <unistd.h>

#include <string_view>

int main(int count, char** arguments) {
    if (count > 1 && std::string_view(arguments[1]) == "--stay") {
        for (;;) {
            ::pause();
        }
    }
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) == 1) {
        if (::write(STDOUT_FILENO, &byte, 1) != 1) {
            return 1;
        }
    }
    return 0;
}
