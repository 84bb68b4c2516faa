// Ends the process after an exception that nothing caught: writes the text of the exception to standard error
// and ends with exit code 3 of the runtime.
//
// It replaces the handler of the C++ library, which demangles the name of the exception class. The code for
// that would be a quarter of the program.
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
