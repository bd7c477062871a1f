// Any text as a case file whose well-formed cases are run: no call crashes, writes beside its samples, or does
// otherwise when made again.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "WellFormed.h"
#include "replay/CaseText.h"
#include "replay/Runner.h"

namespace {

void run(const orvcase::Case& c) {
    const orvcase::Outcome first = orvcase::runCase(c, {.keepOutcome = true});
    if (first.calls.empty()) return;
    const orvcase::Case again = orvcase::withOutcome(c, first);
    const orvcase::Outcome second = orvcase::runCase(again, {});
    if (second.passed()) return;
    std::fprintf(stderr, "%s\n%s", second.mismatches[0].text.c_str(), orvcase::writeCase(c).c_str());
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        for (orvcase::Case& c : orvcase::readCases(std::string(reinterpret_cast<const char*>(data), size), "input")) {
            // Failures are the fault matrix's: what is remembered after one is not what a first call finds.
            for (orvcase::Step& step : c.steps) {
                if (auto* call = std::get_if<orvcase::Call>(&step)) call->faults.clear();
            }
            if (orvfuzz::wellFormed(c)) run(c);
        }
    } catch (const orvcase::ReadError&) {
        return -1;
    }
    return 0;
}
