// Every operation on one picture: its example runs as it is written, on files made for it.

#include <algorithm>
#include <filesystem>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "chart.h"
#include "commands.h"
#include "examples.h"
#include "gallery.h"

namespace orv::tool {

namespace {

namespace fs = std::filesystem;

constexpr unsigned chartWidth = 480;
constexpr unsigned chartHeight = 360;
constexpr unsigned largestSide = 1024;

/// The file that a command writes, empty where it writes none.
std::string outputOf(const Words& words) {
    const auto flag = std::ranges::find(words, "-o");
    if (flag == words.end() || flag + 1 == words.end()) return {};
    std::string output = *(flag + 1);
    // Of several pictures the first one is shown.
    if (const std::size_t at = output.find("%n"); at != std::string::npos) output.replace(at, 2, "1");
    return output;
}

/// A PNG for looking at of any picture that orv reads.
std::string preview(Session& session, const fs::path& picture, const fs::path& folder, const std::string& name) {
    session.write(Canvas::of(session.read(picture)).image(session), folder / name);
    return name;
}

bool isPicture(const std::string& file) {
    return !file.ends_with(".txt") && !file.ends_with(".gpl") && file.find('*') == std::string::npos;
}

Exhibit show(Session& session, const Operation& operation, const Canvas& picture, const fs::path& folder,
             const fs::path& inputs) {
    Exhibit exhibit;
    exhibit.operation = &operation;
    const std::string command(operation.example);
    // Patterns of file names match nothing before the files are there, so the words are split twice.
    const Words named = inputsOf(shellWords(command));
    for (const std::string& input : named) makeInput(session, input, picture);
    Words words = shellWords(command);
    words.erase(words.begin());
    const std::string output = outputOf(words);
    const Ran ran = runApart(words, inputs);
    exhibit.printed = ran.printed;
    exhibit.complaint = ran.complaint;
    if (ran.status != 0) {
        if (exhibit.complaint.empty()) exhibit.complaint = fmt::format("it ended with status {}", ran.status);
        return exhibit;
    }
    exhibit.complaint.clear();
    for (const std::string& input : named) {
        if (!isPicture(input)) continue;
        std::string name = "before-" + input + ".png";
        std::ranges::replace(name, '/', '-');
        if (!fs::exists(folder / name)) preview(session, inputs / input, folder, name);
        exhibit.before.push_back(name);
    }
    if (!output.empty() && fs::is_regular_file(inputs / output)) {
        const fs::path kept = folder / fmt::format("{}{}", operation.name, fs::path(output).extension().string());
        fs::rename(inputs / output, kept);
        exhibit.after = kept.extension() == ".png"
                            ? kept.filename().string()
                            : preview(session, kept, folder, fmt::format("{}.png", kept.stem().string()));
    }
    return exhibit;
}

/// A small picture of an operation, in few colours: for pages.
void writeStrip(Session& session, const fs::path& folder, const Exhibit& exhibit) {
    constexpr long colours = 160;
    const Image picture = strip(session, folder, exhibit).image(session);
    session.write(session.quantize(picture, {.colors = colours, .dither = Dither::none}),
                  folder / "small" / fmt::format("{}.png", exhibit.operation->name), {.compression = "9"});
}

} // namespace

int demo(const Words& words) {
    CLI::App app("runs every operation on a chart and shows the results", "demo");
    std::string directory;
    std::string input;
    app.add_option("DIR", directory, "the folder to write to")->required();
    app.add_option("--input", input, "a picture to use instead of the chart");
    parseWords(app, words);

    Session session;
    const Canvas picture =
        Canvas::of(input.empty() ? drawChart(session, chartWidth, chartHeight, Type::byte) : session.read(input))
            .fitted(largestSide, largestSide);
    const fs::path folder = fs::absolute(directory);
    const fs::path inputs = folder / "inputs";
    std::error_code problem;
    fs::create_directories(inputs, problem);
    if (problem) throw Error("demo", fmt::format("cannot make {}: {}", inputs.string(), problem.message()));
    const fs::path before = fs::current_path();
    fs::current_path(inputs);

    std::vector<Exhibit> exhibits;
    int failures = 0;
    for (const Operation* operation : catalogue()) {
        exhibits.push_back(show(session, *operation, picture, folder, inputs));
        if (exhibits.back().complaint.empty()) continue;
        ++failures;
        fmt::print(stderr, "{}: {}\n  {}\n", dashed(operation->name), operation->example, exhibits.back().complaint);
    }
    fs::current_path(before);
    fs::create_directories(folder / "small");
    for (const Exhibit& exhibit : exhibits) writeStrip(session, folder, exhibit);
    session.write(contactSheet(session, folder, exhibits).image(session), folder / "contact-sheet.png");
    writePage(folder / "index.html", exhibits);
    fmt::print("{} of {} operations shown\n  {}\n  {}\n", exhibits.size() - static_cast<std::size_t>(failures),
               exhibits.size(), (folder / "index.html").string(), (folder / "contact-sheet.png").string());
    return failures == 0 ? 0 : 1;
}

} // namespace orv::tool
