// Any text as a case file: read or refused with a line number, and what is read is written to a text that reads as
// equal.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "replay/CaseText.h"

namespace {

std::string written(const std::string& text) {
    std::string all;
    for (const orvcase::Case& c : orvcase::readCases(text, "input")) all += orvcase::writeCase(c);
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string once;
    try {
        once = written(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const orvcase::ReadError&) {
        return 0;
    }
    if (written(once) != once) std::abort();
    return 0;
}
