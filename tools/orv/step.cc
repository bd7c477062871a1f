#include "step.h"

#include <algorithm>
#include <cstdio>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace orv::tool {

namespace {

Rectangle rectangleOf(const std::string& text) {
    Rectangle r;
    int end = 0;
    if (std::sscanf(text.c_str(), "%ld,%ld,%u,%u%n", &r.x, &r.y, &r.width, &r.height, &end) != 4 ||
        static_cast<std::size_t>(end) != text.size()) {
        throw Usage(fmt::format("--roi: '{}' came, X,Y,WIDTH,HEIGHT wanted", text));
    }
    return r;
}

[[noreturn]] void refuseFlag(const CLI::App& app, const Operation& operation, const std::string& flag) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back(name);
    }
    const std::vector<std::string_view> views(names.begin(), names.end());
    const std::string near =
        flag.starts_with("--") ? nearestName(flag.substr(2, flag.find('=') - 2), views) : std::string();
    throw Usage(fmt::format("{}: there is no flag '{}'{}", operation.name, flag,
                            near.empty() ? fmt::format("; see 'orv help {}'", dashed(operation.name))
                                         : fmt::format("; did you mean '--{}'?", near)));
}

Step stepFrom(const Words& words) {
    if (words.empty()) throw Usage("pipe: a step is empty; OP [--flag value]... wanted between the colons");
    const Operation& operation = operationOf(words.front());
    Words rest(words.begin() + 1, words.end());
    std::string keptAs;
    if (rest.size() >= 2 && rest[rest.size() - 2] == "as") {
        keptAs = rest.back();
        rest.resize(rest.size() - 2);
    }
    CLI::App app(std::string(operation.help), std::string(operation.name));
    StepWords given;
    std::vector<std::string> taken;
    declareStep(app, operation, given);
    app.add_option("SRC", taken, "@NAME of a result that was kept, @1 of the first source");
    parseStep(app, operation, rest);
    Step step = stepOf(operation, given);
    for (const std::string& name : taken) {
        if (name.starts_with('@') && name.size() > 1) continue;
        throw Usage(fmt::format("{}: '{}' came, a result @NAME or a source @1 wanted; files stand before '--'",
                                operation.name, name));
    }
    step.taken = std::move(taken);
    step.keptAs = std::move(keptAs);
    return step;
}

} // namespace

namespace {

/// Every result that a step takes must have been kept by an earlier one; numbers are sources.
void checkNames(const Step& step, const std::vector<Step>& earlier) {
    for (const std::string& name : step.taken) {
        const std::string wanted = name.substr(1);
        if (wanted.find_first_not_of("0123456789") == std::string::npos) continue;
        if (std::ranges::any_of(earlier, [&](const Step& s) { return s.keptAs == wanted; })) continue;
        throw Usage(
            fmt::format("{}: there is no result '{}'; keep one with 'as {}'", step.operation->name, name, wanted));
    }
}

} // namespace

const Operation& operationOf(const std::string& name) {
    try {
        return operationNamed(name);
    } catch (const Error& error) {
        throw Usage(error.what());
    }
}

void declareStep(CLI::App& app, const Operation& operation, StepWords& words) {
    app.add_option("--roi", words.roi, std::string(roiHelp));
    for (const Parameter& parameter : operation.parameters) {
        if (parameter.kind == Kind::flag) {
            app.add_flag_callback(
                "--" + dashed(parameter.name), [&words, &parameter] { words.given.emplace_back(&parameter, "yes"); },
                std::string(parameter.help));
            continue;
        }
        app.add_option_function<std::string>(
            "--" + dashed(parameter.name),
            [&words, &parameter](const std::string& text) { words.given.emplace_back(&parameter, text); },
            std::string(parameter.help));
    }
}

void parseStep(CLI::App& app, const Operation& operation, const Words& words) {
    try {
        // CLI11 takes the words from last to first.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ExtrasError&) {
        for (const std::string& word : words) {
            if (word.starts_with("-") && word.size() > 1 &&
                app.get_option_no_throw(word.substr(0, word.find('='))) == nullptr) {
                refuseFlag(app, operation, word);
            }
        }
        throw Usage(fmt::format("{}: too many words; see 'orv help {}'", operation.name, dashed(operation.name)));
    } catch (const CLI::ParseError& error) {
        throw Usage(fmt::format("{}: {}; see 'orv help {}'", operation.name, error.what(), dashed(operation.name)));
    }
}

Step stepOf(const Operation& operation, const StepWords& words) {
    Step step;
    step.operation = &operation;
    for (const auto& [parameter, text] : words.given) {
        try {
            checkText(operation, *parameter, text);
        } catch (const Error& error) {
            throw Usage(error.what());
        }
        step.arguments.push_back({std::string(parameter->name), text});
    }
    for (const Parameter& parameter : operation.parameters) {
        const auto isIt = [&](const auto& given) { return given.first == &parameter; };
        if (parameter.kind == Kind::flag || parameter.optional || !parameter.fallback.empty() ||
            std::ranges::any_of(words.given, isIt))
            continue;
        throw Usage(fmt::format("{}: --{} is missing ({}); for example: {}", operation.name, dashed(parameter.name),
                                parameter.help, operation.example));
    }
    for (const std::string& text : words.roi) step.roi.push_back(rectangleOf(text));
    return step;
}

std::vector<Step> stepsOf(const Words& words) {
    std::vector<Step> steps;
    auto from = words.begin();
    while (true) {
        const auto to = std::find(from, words.end(), ":");
        Step step = stepFrom(Words(from, to));
        checkNames(step, steps);
        steps.push_back(std::move(step));
        if (to == words.end()) return steps;
        from = to + 1;
    }
}

} // namespace orv::tool
