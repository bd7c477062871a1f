// The pages and the shell completion that are read from the catalogue.

#include <algorithm>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "flags.h"
#include "manual.h"
#include "orv/orv.h"
#include "step.h"

namespace orv::tool {

namespace {

std::string title(std::string_view group) {
    std::string text(group);
    if (!text.empty()) text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text;
}

/// The flags that every operation has, with their help.
std::vector<std::pair<std::string, std::string>> sharedFlags() {
    CLI::App app;
    app.set_help_flag();
    Flags flags;
    flags.declare(app, nullptr);
    std::vector<std::pair<std::string, std::string>> all;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_lnames().empty()) continue;
        all.emplace_back("--" + option->get_lnames().front(), option->get_description());
    }
    all.emplace_back("--roi", roiHelp);
    all.emplace_back("--help", "show the operation in full");
    return all;
}

std::string cell(std::string_view text) {
    std::string safe;
    for (const char c : text) {
        if (c == '|') safe += '\\';
        safe += c;
    }
    return safe;
}

void printOperation(const Operation& operation) {
    fmt::print("### {}\n\n{}{}\n\n", dashed(operation.name), operation.help,
               operation.body != nullptr ? " (a recipe)" : "");
    if (!operation.details.empty()) fmt::print("{}\n\n", operation.details);
    fmt::print("    {}\n\n![before and after](pictures/{}.png)\n\n", operation.example, operation.name);
    if (operation.parameters.empty() && operation.lastSource.empty()) return;
    fmt::print("| flag | meaning | default |\n|---|---|---|\n");
    if (!operation.lastSource.empty())
        fmt::print("| `--{}` | the last of the source pictures; it may stand without its flag too | |\n",
                   dashed(operation.lastSource));
    for (const Parameter& parameter : operation.parameters) {
        std::string words;
        for (const Choice& choice : parameter.choices)
            words += fmt::format("{}`{}`{}", words.empty() ? ": " : ", ", choice.word,
                                 choice.help.empty() ? "" : fmt::format(" ({})", choice.help));
        fmt::print("| `--{}` | {}{} | {} |\n", dashed(parameter.name), cell(parameter.help), cell(words),
                   cell(parameter.fallback));
    }
    fmt::print("\n");
}

/// A text within a manual page: dashes and dots at the beginning of a line mean something there.
std::string roff(std::string_view text) {
    std::string safe;
    for (const char c : text) {
        if (c == '\\')
            safe += "\\e";
        else if (c == '-')
            safe += "\\-";
        else if (c == '\'')
            safe += "\\(aq";
        else
            safe += c;
    }
    return safe;
}

} // namespace

void printMarkdown() {
    fmt::print(
        "# Operations\n\n"
        "Made by `scripts/pages.sh` from the catalogue. `orv help OP` shows one of them; `orv demo DIR` runs every\n"
        "example below and shows what it makes. Each picture shows what goes in on the left and what comes out at the\n"
        "right. Flags that all operations have stand at the end.\n");
    std::string_view group;
    for (const Operation* operation : catalogue()) {
        if (operation->group != group) fmt::print("\n## {}\n\n", title(group = operation->group));
        printOperation(*operation);
    }
    fmt::print("\n## Flags of every operation\n\n| flag | meaning |\n|---|---|\n");
    for (const auto& [name, help] : sharedFlags()) fmt::print("| `{}` | {} |\n", name, cell(help));
}

void printMan() {
    fmt::print(
        ".TH ORV 1 \"\" \"orv {}\" \"User Commands\"\n.SH NAME\norv \\- pixel operations on picture files\n"
        ".SH SYNOPSIS\n.B orv\n.I OP SRC... \\fB\\-o\\fR DST\n[\\fB\\-\\-flag\\fR \\fIvalue\\fR]...\n.SH COMMANDS\n",
        version());
    for (const Command& command : commands())
        fmt::print(".TP\n.B {} {}\n{}\n", roff(command.name), roff(command.words), roff(command.help));
    fmt::print(".SH OPERATIONS\n");
    for (const Operation* operation : catalogue()) {
        fmt::print(".TP\n.B {}\n{}.\n", roff(dashed(operation->name)), roff(operation->help));
        for (const Parameter& p : operation->parameters)
            fmt::print(".br\n\\fB\\-\\-{}\\fR: {}\n", roff(dashed(p.name)), roff(p.help));
        fmt::print(".br\nExample: \\fI{}\\fR\n", roff(operation->example));
    }
    fmt::print(".SH FLAGS OF EVERY OPERATION\n");
    for (const auto& [name, help] : sharedFlags()) fmt::print(".TP\n.B {}\n{}\n", roff(name), roff(help));
    fmt::print(".SH EXIT STATUS\n0 done, 1 the operation failed, 2 wrong usage.\n");
}

void printCompletion() {
    std::string names;
    std::string flags;
    for (const Command& command : commands()) names += fmt::format("{} ", command.name);
    for (const auto& [name, help] : sharedFlags()) flags += name + " ";
    fmt::print("# bash completion for orv\n_orv() {{\n    local word=${{COMP_WORDS[COMP_CWORD]}} flags=\"{}\"\n"
               "    case \"${{COMP_WORDS[1]}}\" in\n",
               flags);
    for (const Operation* operation : catalogue()) {
        names += dashed(operation->name) + " ";
        if (operation->parameters.empty()) continue;
        fmt::print("        {}) flags+=\"", dashed(operation->name));
        for (const Parameter& p : operation->parameters) fmt::print(" --{}", dashed(p.name));
        fmt::print("\" ;;\n");
    }
    fmt::print("    esac\n    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
               "        COMPREPLY=($(compgen -W \"{}\" -- \"$word\"))\n"
               "    elif [[ $word == -* ]]; then\n        COMPREPLY=($(compgen -W \"$flags\" -- \"$word\"))\n    else\n"
               "        COMPREPLY=($(compgen -f -- \"$word\"))\n    fi\n}}\ncomplete -o filenames -F _orv orv\n",
               names);
}

namespace {

nlohmann::json jsonOf(const Parameter& parameter) {
    nlohmann::json line{{"name", parameter.name},
                        {"flag", "--" + dashed(parameter.name)},
                        {"kind", nameOf(parameter.kind)},
                        {"help", parameter.help},
                        {"optional", parameter.optional || !parameter.fallback.empty()}};
    if (!parameter.fallback.empty()) line["default"] = parameter.fallback;
    if (!parameter.typeName.empty()) line["type"] = parameter.typeName;
    for (const Choice& choice : parameter.choices) {
        line["choices"].push_back({{"word", choice.word}, {"value", choice.value}, {"help", choice.help}});
    }
    return line;
}

nlohmann::json jsonOf(const Operation& operation) {
    constexpr std::string_view instead[] = {"measurements", "images", "palette", "table"};
    nlohmann::json line{
        {"name", operation.name},
        {"group", operation.group},
        {"help", operation.help},
        {"details", operation.details},
        {"sources", operation.sources},
        {"most_sources", std::max(operation.sources, operation.mostSources)},
        {"last_source", operation.lastSource},
        {"gives", operation.givesImage ? "image" : instead[static_cast<std::size_t>(operation.instead)]},
        {"recipe", operation.body != nullptr},
        {"example", operation.example},
        {"parameters", nlohmann::json::array()}};
    for (const Parameter& parameter : operation.parameters) line["parameters"].push_back(jsonOf(parameter));
    return line;
}

} // namespace

void printJson(std::string_view only) {
    nlohmann::json all = nlohmann::json::array();
    for (const Operation* operation : catalogue()) {
        if (operation->name == only)
            all = jsonOf(*operation);
        else if (only.empty())
            all.push_back(jsonOf(*operation));
    }
    fmt::print("{}\n", all.dump(2));
}

namespace {

/// Made from the flags themselves.
constexpr std::string_view flagsTopic = "flags";

struct Topic {
    std::string_view name;
    std::string_view text;
};

constexpr Topic topics[] = {
    {"files",
     "PNG, TIFF, JPEG, PNM/PAM and .npy; '-' is a standard stream (say --format for output). A file is written to a\n"
     "temporary name beside the target and renamed. Several results (split) take -o 'out-%n.png'. --max-pixels caps "
     "what is read; --dpi, --compression and\n"
     "--quality (JPEG, 92) say how it is written. Pictures are turned upright as they are read (--orient keep).\n"
     "Floating-point files are mapped to 16 bits by --map LOW:HIGH."},
    {"cases",
     "--save-case FILE writes the device's calls of a run with all that goes in and comes out; 'orvreplay FILE' makes\n"
     "them again and says where anything differs. Take small pictures: samples are written as text."},
    {"colours",
     "Colours are R,G,B: '255,128,0', '#ff8000', or one value for all bands; '50%' is of full range. Names: black,\n"
     "white, gray, red, green, blue, cyan, magenta, yellow."},
    {"u16",
     "Unsigned 16-bit pictures lie in memory less 32768 and come back as they were. Where an operation would be wrong\n"
     "on shifted samples it says so: --u16 exact takes the values themselves (up to 32767), half halves them,\n"
     "raw takes their bits for signed numbers."},
    {"bits", "A set bit is white, whatever the file's own polarity; --polarity raw takes the bits as they are stored."},
    {"steps",
     "The words after an operation in a pipe are those that it has on its own. Each step takes what the one before\n"
     "made. 'OP ... as NAME' keeps a result, 'OP @NAME' takes one as a further source, '@1' the first file:\n"
     "  orv pipe photo.png -o edges.png -- gray as plain : blur --sigma 2 : subtract @plain"},
    {"values",
     "Kernels and structuring elements: a name, or a text file of WIDTH HEIGHT KEYX KEYY and then the weights (or the\n"
     "members, 0 and 1) row by row; the key is the element that lies on the pixel being made, counted from 0 at the\n"
     "top left. Masks and brushes: the same, or a picture of 8 bits. Palettes: a picture, a .gpl file, or lines of\n"
     "R G B or rrggbb. Tables: lines of output values, from input value 0 up. Points: X,Y;X,Y, or a file of them."},
    {"batch",
     "Several first sources with -o DIR/ or a pattern 'out-%n.png': the first source varies, --with FILE gives the\n"
     "others. --files-from LIST, --keep-going, --jobs N (processes)."},
};

} // namespace

bool printTopic(std::string_view name) {
    if (name == flagsTopic) {
        for (const auto& [flag, help] : sharedFlags()) fmt::print("  {:<16} {}\n", flag, help);
        return true;
    }
    const auto* topic = std::ranges::find(topics, name, &Topic::name);
    if (topic == std::end(topics)) return false;
    fmt::print("{}\n", topic->text);
    return true;
}

std::string topicNames() {
    std::string names(flagsTopic);
    for (const Topic& topic : topics) names += fmt::format(", {}", topic.name);
    return names;
}

} // namespace orv::tool
