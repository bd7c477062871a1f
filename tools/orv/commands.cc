#include "commands.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "manual.h"
#include "orv/orv.h"
#include "step.h"

namespace orv::tool {

namespace {

constexpr Command all[] = {
    {"pipe", "SRC... -o DST -- OP [--flag value]... : OP [--flag value]...", "operations one after the other", pipe},
    {"list", "[--json | --registrations]", "every operation, or what the device entered", list},
    {"help", "[OP [--json] | COMMAND | TOPIC]", "an operation, a command or a topic in full", help},
    {"info", "FILE... [--json]", "size, bands, type and format of files", info},
    {"chart", "-o DST [--size WIDTHxHEIGHT] [--type bit|byte|int16]", "draws a test chart", chart},
    {"demo", "DIR [--input PICTURE]", "runs every operation on the chart, or on a picture, and shows the results",
     demo},
    {"compare", "FILE FILE [--max-diff N]", "whether two pictures are the same: exit status 0", compare},
    {"hash", "FILE...", "a fingerprint of the samples", hash},
    {"version", "", "the version and the build of the device that was chosen", showVersion},
};

void printParameter(const Parameter& parameter) {
    fmt::print("  --{:<16} {}", dashed(parameter.name), parameter.help);
    if (!parameter.fallback.empty()) fmt::print(" (default {})", parameter.fallback);
    fmt::print("\n");
    for (const Choice& choice : parameter.choices) fmt::print("      {:<14} {}\n", choice.word, choice.help);
}

std::string sourcesText(const Operation& operation) {
    const unsigned count = operation.sources;
    std::string text;
    for (unsigned i = 1; i <= count; ++i) {
        if (i == count && !operation.lastSource.empty()) text += fmt::format(" --{}", dashed(operation.lastSource));
        text += fmt::format(" SRC{}", count == 1 ? "" : std::to_string(i));
    }
    return operation.mostSources > count ? text + "..." : text;
}

void printOperation(const Operation& operation) {
    fmt::print("{}: {}\n", operation.name, operation.help);
    if (!operation.details.empty()) fmt::print("{}\n", operation.details);
    fmt::print("\n  orv {}{}{} [--flag value]...\n\n", dashed(operation.name), sourcesText(operation),
               makesPictures(operation) ? " -o DST" : "");
    for (const Parameter& parameter : operation.parameters) printParameter(parameter);
    fmt::print("{}Flags that all operations have: orv help flags\n\nExample:\n  {}\n",
               operation.parameters.empty() ? "" : "\n", operation.example);
}

bool printPage(const std::string& flag) {
    struct Page {
        std::string_view flag;
        void (*print)();
    };
    constexpr Page pages[] = {{"--markdown", printMarkdown}, {"--man", printMan}, {"--completion", printCompletion}};
    const auto* page = std::ranges::find(pages, flag, &Page::flag);
    if (page == std::end(pages)) return false;
    page->print();
    return true;
}

void printCommand(const Command& command) {
    fmt::print("  orv {}{}{}\n      {}\n", command.name, *command.words == '\0' ? "" : " ", command.words,
               command.help);
}

void printGrammar() {
    fmt::print("orv: pixel operations on 1-bit, 8-bit and 16-bit pictures\n\n"
               "  orv OP SRC... -o DST [--flag value]...\n      runs an operation\n");
    for (const Command& command : all) printCommand(command);
    fmt::print("\n'orv list' shows the operations, 'orv help OP' one of them.\nTopics of help: {}.\n", topicNames());
}

} // namespace

std::span<const Command> commands() noexcept { return all; }

std::string dashed(std::string_view name) {
    std::string text(name);
    std::ranges::replace(text, '_', '-');
    return text;
}

void parseWords(CLI::App& app, const Words& words) {
    try {
        // CLI11 takes the words from last to first.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        throw Usage(fmt::format("{}: {}; see 'orv help {}'", app.get_name(), error.what(), app.get_name()));
    }
}

int list(const Words& words) {
    if (words == Words{"--registrations"}) {
        const Session session;
        std::size_t number = 0;
        for (const std::string& path : session.registrations()) fmt::print("{} {}\n", ++number, path);
        return 0;
    }
    if (words == Words{"--json"}) {
        printJson();
        return 0;
    }
    if (!words.empty())
        throw Usage(fmt::format("list: '{}' is no flag of list (--registrations, --json)", words.front()));
    std::string_view group;
    for (const Operation* operation : catalogue()) {
        if (operation->group != group) {
            group = operation->group;
            fmt::print("\n{}\n", group);
        }
        fmt::print("  {:<24}{}{}\n", dashed(operation->name), operation->help,
                   operation->body != nullptr ? " [recipe]" : "");
    }
    return 0;
}

int help(const Words& words) {
    if (words.empty()) {
        printGrammar();
        return 0;
    }
    if (printPage(words.front())) return 0;
    const auto command = std::ranges::find_if(all, [&](const Command& c) { return words.front() == c.name; });
    if (command != std::end(all)) {
        printCommand(*command);
        if (words.front() == "pipe") printTopic("steps");
        return 0;
    }
    if (printTopic(words.front())) return 0;
    try {
        const Operation& operation = operationNamed(words.front());
        if (words.size() > 1 && words[1] == "--json")
            printJson(operation.name);
        else
            printOperation(operation);
    } catch (const Error& error) {
        throw Usage(error.what());
    }
    return 0;
}

int showVersion(const Words& words) {
    if (!words.empty()) throw Usage(fmt::format("version: takes no words, '{}' came", words.front()));
    const Session session;
    fmt::print("orv {}\ndevice build: {} ({})\n", version(), session.build(), session.modulePath());
    return 0;
}

} // namespace orv::tool
