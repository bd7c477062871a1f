// orv: pixel operations on picture files.

#include <csignal>
#include <cstdlib>
#include <new>
#include <unistd.h>

#include <fmt/format.h>

#include "commands.h"
#include "files/Target.h"
#include "files/Writer.h"
#include "orv/orv.h"

namespace {

using orv::tool::Words;

constexpr int failed = 1;
constexpr int wrongUse = 2;

void onInterrupt(int signal) {
    orv::files::removeTemporaries();
    _exit(128 + signal);
}

int run(const Words& words) {
    if (words.empty()) return orv::tool::help({});
    const std::string& first = words.front();
    const Words rest(words.begin() + 1, words.end());
    if (first == "-h" || first == "--help") return orv::tool::help(rest);
    if (first == "--version") return orv::tool::showVersion(rest);
    for (const orv::tool::Command& command : orv::tool::commands()) {
        if (first != command.name) continue;
        const bool asksHelp = !rest.empty() && (rest.front() == "-h" || rest.front() == "--help");
        return asksHelp ? orv::tool::help({first}) : command.run(rest);
    }
    return orv::tool::operate(first, rest);
}

int complain(const std::string& message, int status) {
    fmt::print(stderr, "orv: {}\n", message);
    return status;
}

} // namespace

namespace orv::tool {

int perform(const Words& words) {
    try {
        return run(words);
    } catch (const Usage& wrong) {
        return complain(wrong.what(), wrongUse);
    } catch (const Error& error) {
        return complain(error.what(), failed);
    } catch (const std::bad_alloc&) {
        return complain("no memory", failed);
    } catch (const std::exception& error) {
        return complain(error.what(), failed);
    }
}

} // namespace orv::tool

int main(int count, char** arguments) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, onInterrupt);
    return orv::tool::perform(Words(arguments + 1, arguments + count));
}
