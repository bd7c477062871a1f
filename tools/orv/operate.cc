// Operations on files, one at a time or in a pipe.

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "plan.h"

namespace orv::tool {

namespace {

/// The operation that the first word names; what is near may be a command too.
const Operation& operationOrNear(const std::string& name) {
    std::vector<std::string_view> names;
    for (const Command& command : commands()) names.emplace_back(command.name);
    const std::string command = nearestName(name, names);
    for (const Operation* row : catalogue()) names.push_back(row->name);
    if (!command.empty() && nearestName(name, names) == command)
        throw Usage(fmt::format("there is no operation '{}'; did you mean '{}'?", name, command));
    return operationOf(name);
}

} // namespace

int operate(const std::string& name, const Words& words) {
    const Operation& operation = operationOrNear(name);
    Plan plan;
    plan.name = operation.name;
    plan.least = operation.sources;
    plan.most = std::max(operation.sources, operation.mostSources);
    plan.makesPictures = makesPictures(operation);
    CLI::App app(std::string(operation.help), plan.name);
    StepWords given;
    declareStep(app, operation, given);
    plan.flags.declare(app, &operation);
    parseStep(app, operation, words);
    if (!plan.flags.last.empty()) plan.flags.sources.push_back(plan.flags.last);
    plan.steps.push_back(stepOf(operation, given));
    return runPlan(plan);
}

int pipe(const Words& words) {
    const auto dashes = std::ranges::find(words, "--");
    if (dashes == words.end())
        throw Usage("pipe: '--' is missing; for example: orv pipe a.png -o b.png -- add-const --value 20 : not");
    Plan plan;
    plan.name = "pipe";
    plan.isPipe = true;
    CLI::App app("steps one after the other", "pipe");
    plan.flags.declare(app, nullptr);
    app.add_option("--fuse", plan.flags.fuse, "which steps run as one: exact, all or off")
        ->check(CLI::IsMember({"exact", "all", "off"}));
    parseWords(app, Words(words.begin(), dashes));
    plan.steps = stepsOf(Words(dashes + 1, words.end()));
    const auto partly = [](const Step& step) { return !step.roi.empty(); };
    if (std::any_of(plan.steps.begin(), plan.steps.end() - 1, partly))
        throw Usage("pipe: --roi: only the last step can be told to write a part of its result");
    // A run takes the first source, and those that the steps name or the first step wants.
    plan.least = std::max<std::size_t>(1, plan.steps.front().operation->sources - plan.steps.front().taken.size());
    if (plan.steps.front().operation->sources == 0) plan.least = 0;
    for (const Step& step : plan.steps) {
        for (const std::string& name : step.taken) {
            const bool isNumber =
                std::all_of(name.begin() + 1, name.end(), [](char c) { return c >= '0' && c <= '9'; });
            if (isNumber && name.size() < 6) plan.least = std::max<std::size_t>(plan.least, std::stoul(name.substr(1)));
        }
    }
    plan.most = plan.least;
    // A step that measures hands its picture on; where none is asked for, it is not written.
    plan.makesPictures = makesPictures(*plan.steps.back().operation) ||
                         (!plan.flags.output.empty() &&
                          std::ranges::any_of(plan.steps, [](const Step& s) { return makesPictures(*s.operation); }));
    return runPlan(plan);
}

} // namespace orv::tool
