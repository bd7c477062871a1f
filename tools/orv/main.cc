// orv: pixel operations on picture files.

#include <algorithm>
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

bool asksHelp(const std::string& word) { return word == "-h" || word == "--help"; }

/// What a --help after the first word is about: that word, or the step of a pipe in which it stands.
std::string subjectOfHelp(Words::const_iterator first, Words::const_iterator help) {
    const auto dashes = std::find(first, help, "--");
    if (dashes == help || dashes + 1 == help) return *first;
    const auto colon = std::find(std::make_reverse_iterator(help), std::make_reverse_iterator(dashes), ":").base();
    return colon == help ? *first : *colon;
}

int run(const Words& words) {
    if (words.empty()) return orv::tool::help({});
    const std::string& first = words.front();
    const Words rest(words.begin() + 1, words.end());
    if (asksHelp(first)) return orv::tool::help(rest);
    if (first == "--version") return orv::tool::showVersion(rest);
    if (const auto word = std::ranges::find_if(rest, asksHelp); word != rest.end()) {
        const auto here = words.begin() + 1 + (word - rest.begin());
        return orv::tool::help({subjectOfHelp(words.begin(), here)});
    }
    for (const orv::tool::Command& command : orv::tool::commands()) {
        if (first == command.name) return command.run(rest);
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
    } catch (const ArgumentError& wrong) {
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
