// Operations on files.

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "commands.h"
#include "files/Target.h"
#include "orv/orv.h"

namespace orv::tool {

namespace {

struct Flags {
    std::vector<std::string> sources;
    std::string output;
    std::vector<std::string> roi;
    std::string format;
    std::string build;
    std::string sixteen = "shift";
    std::string polarity = "meaning";
    std::string compression;
    int quality = 92;
    std::uint64_t maxPixels = std::uint64_t{1} << 31;
    bool strict = false;
    bool explain = false;
    std::vector<std::pair<const Parameter*, std::string>> given;
};

Sixteen sixteenNamed(const std::string& name) {
    if (name == "exact") return Sixteen::number;
    if (name == "half") return Sixteen::half;
    if (name == "raw") return Sixteen::raw;
    return Sixteen::shifted;
}

Rectangle rectangleOf(const std::string& text) {
    Rectangle r;
    int end = 0;
    if (std::sscanf(text.c_str(), "%ld,%ld,%u,%u%n", &r.x, &r.y, &r.width, &r.height, &end) != 4 ||
        static_cast<std::size_t>(end) != text.size()) {
        throw Usage(fmt::format("--roi: '{}' came, X,Y,WIDTH,HEIGHT wanted", text));
    }
    return r;
}

/// The flags of an operation: those that all have, and one for each parameter of its row.
void declare(CLI::App& app, const Operation& operation, Flags& flags) {
    app.set_help_flag("-h,--help", "show the operation in full");
    app.add_option("SRC", flags.sources, "the source pictures");
    auto* output = app.add_option("-o,--output", flags.output, "the picture to write; - for standard output");
    if (operation.givesImage) output->required();
    app.add_option("--roi", flags.roi, "X,Y,WIDTH,HEIGHT: pixels of the result to write; again for more rectangles");
    app.add_option("--format", flags.format, "format of what is written: png, tiff, jpeg, pnm, npy");
    app.add_option("--build", flags.build, "build of the device: baseline, v3, v4");
    app.add_option("--u16", flags.sixteen, "unsigned 16-bit pictures: shift, exact, half, raw")
        ->check(CLI::IsMember({"shift", "exact", "half", "raw"}));
    app.add_option("--polarity", flags.polarity, "1-bit pictures: meaning (white is set) or raw")
        ->check(CLI::IsMember({"meaning", "raw"}));
    app.add_option("--compression", flags.compression, "TIFF: none, lzw, deflate, packbits, g4; PNG: 0 to 9");
    app.add_option("--quality", flags.quality, "JPEG: 1 to 100")->check(CLI::Range(1, 100));
    app.add_option("--max-pixels", flags.maxPixels, "refuse larger pictures");
    app.add_flag("--strict", flags.strict, "a division by zero is an error");
    app.add_flag("--explain", flags.explain, "print the calls of the device");
    for (const Parameter& parameter : operation.parameters) {
        std::string name(parameter.name);
        std::ranges::replace(name, '_', '-');
        app.add_option_function<std::string>(
            "--" + name, [&flags, &parameter](const std::string& text) { flags.given.emplace_back(&parameter, text); },
            std::string(parameter.help));
    }
}

[[noreturn]] void refuseExtra(const CLI::App& app, const Operation& operation, const std::string& extra) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back(name);
    }
    const std::vector<std::string_view> views(names.begin(), names.end());
    const std::string near =
        extra.starts_with("--") ? nearestName(extra.substr(2, extra.find('=') - 2), views) : std::string();
    throw Usage(fmt::format("{}: there is no flag '{}'{}", operation.name, extra,
                            near.empty() ? fmt::format("; see 'orv help {}'", operation.name)
                                         : fmt::format("; did you mean '--{}'?", near)));
}

void parse(CLI::App& app, const Operation& operation, const Words& words) {
    try {
        // CLI11 takes the words from last to first.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::CallForHelp&) {
        throw;
    } catch (const CLI::ExtrasError&) {
        for (const std::string& word : words) {
            if (word.starts_with("-") && word.size() > 1 &&
                app.get_option_no_throw(word.substr(0, word.find('='))) == nullptr) {
                refuseExtra(app, operation, word);
            }
        }
        throw Usage(fmt::format("{}: too many words; see 'orv help {}'", operation.name, operation.name));
    } catch (const CLI::ParseError& error) {
        throw Usage(fmt::format("{}: {}; see 'orv help {}'", operation.name, error.what(), operation.name));
    }
}

void checkSources(const Operation& operation, const Flags& flags) {
    if (flags.sources.size() == operation.sources) return;
    throw Usage(fmt::format("{}: {} picture{} came, {} wanted; for example: {}", operation.name, flags.sources.size(),
                            flags.sources.size() == 1 ? "" : "s", operation.sources, operation.example));
}

void print(const Result& result, const Flags& flags) {
    if (flags.explain) {
        for (const std::string& line : result.explained) fmt::print(stderr, "{}\n", line);
    }
    for (const std::string& warning : result.warnings) fmt::print(stderr, "orv: warning: {}\n", warning);
    for (const Measurement& m : result.measurements) fmt::print("{:<10} {}\n", m.name, fmt::join(m.values, "  "));
}

} // namespace

int operate(const std::string& name, const Words& words) {
    const Operation* operation = nullptr;
    try {
        operation = &operationNamed(name);
    } catch (const Error& error) {
        throw Usage(error.what());
    }
    Flags flags;
    CLI::App app(std::string(operation->help), std::string(operation->name));
    declare(app, *operation, flags);
    try {
        parse(app, *operation, words);
    } catch (const CLI::CallForHelp&) {
        return help({std::string(operation->name)});
    }
    checkSources(*operation, flags);
    if (flags.output == "-") files::keepStandardOutput();

    Session session({.build = flags.build, .strict = flags.strict});
    const ReadOptions reading{.maxPixels = flags.maxPixels,
                              .format = {},
                              .sixteen = sixteenNamed(flags.sixteen),
                              .rawPolarity = flags.polarity == "raw"};
    std::vector<Image> sources;
    for (const std::string& path : flags.sources) sources.push_back(session.read(path, reading));
    Arguments arguments;
    for (const auto& [parameter, text] : flags.given) {
        try {
            checkText(*operation, *parameter, text);
        } catch (const Error& error) {
            throw Usage(error.what());
        }
        arguments.push_back({std::string(parameter->name), text});
    }
    CallOptions call;
    for (const std::string& roi : flags.roi) call.roi.push_back(rectangleOf(roi));
    const Result result = session.apply(operation->name, sources, arguments, call);
    print(result, flags);
    if (result.image && !flags.output.empty()) {
        session.write(result.image, flags.output,
                      {.format = flags.format,
                       .quality = flags.quality,
                       .compression = flags.compression,
                       .rawPolarity = flags.polarity == "raw"});
    }
    return 0;
}

} // namespace orv::tool
