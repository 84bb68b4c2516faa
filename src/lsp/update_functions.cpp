#include "lsp/update_functions.h"

namespace {

ProviderUpdateFunctions functions = {};

} // namespace

const ProviderUpdateFunctions& UpdateFunctions() {
    return functions;
}

void SetUpdateFunctions(const ProviderUpdateFunctions& found) {
    functions = found;
}
