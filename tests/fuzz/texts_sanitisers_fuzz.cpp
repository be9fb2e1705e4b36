// Fuzzes what cleans the user's input: each sanitiser must agree with the slow reference, keep to
// its limit and its alphabet, and leave its own result alone.
#include "ui/sanitisers.h"
#include "unit/texts/sanitiser_reference.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Fuzzing stays short, the limits do not: the first byte says how often the rest is repeated.
    const std::size_t repeats = size > 0 ? 1U + data[0] : 0U;
    std::string text;
    for (std::size_t i = 0; i < repeats && text.size() < 8192; ++i) {
        text.append(reinterpret_cast<const char*>(data) + 1, size - 1);
    }
    text = text.c_str(); // up to a NUL, as the sanitisers see it

    for (const SanitiserCase& sanitiser : k_sanitisers) {
        const std::string result = sanitiser.sanitise(text.c_str());
        require(result == sanitiser.reference(text), sanitiser.name);
        require(fault_of_result(sanitiser, result).empty(), sanitiser.name);
        require(sanitiser.sanitise(result.c_str()) == result, sanitiser.name);
    }
    require(is_valid_email(text.c_str()) == reference_is_valid_email(text), "is_valid_email");
    return 0;
}
