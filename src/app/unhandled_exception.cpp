// What ends a run that an exception leaves: its text on standard error, and the runtime's exit code 3.
//
// It stands in the place of the C++ library's own handler. That one takes the names of exception classes apart, with code
// that makes a quarter of the program.
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace __gnu_cxx {

void __verbose_terminate_handler() {
    const char* text = "nothing";
    const std::exception_ptr current = std::current_exception();
    try {
        if (current != nullptr) {
            std::rethrow_exception(current);
        }
    } catch (const std::exception& error) {
        text = error.what();
    } catch (...) {
        text = "an exception without a text";
    }
    std::fprintf(stderr, "terminate called after throwing: %s\n", text);
    std::abort();
}

} // namespace __gnu_cxx
