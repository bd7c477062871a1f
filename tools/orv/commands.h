// The commands of the tool. Each takes the words after its name and answers the exit status: 0 done, 1 failed. A wrong
// use throws Usage.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace orv::tool {

/// The words were wrong: exit status 2.
class Usage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string>;

struct Command {
    const char* name;
    /// The words after the name, as help shows them.
    const char* words;
    const char* help;
    int (*run)(const Words& words);
};

/// The commands that are no operations, in the order in which people are shown them.
std::span<const Command> commands() noexcept;

int list(const Words& words);
int help(const Words& words);
int info(const Words& words);
int chart(const Words& words);
int demo(const Words& words);
int pipe(const Words& words);
int compare(const Words& words);
int hash(const Words& words);
int showVersion(const Words& words);

/// Runs an operation of the catalogue on files.
int operate(const std::string& name, const Words& words);

/// Runs the words of a command line; what goes wrong is said in one line on standard error. The exit status.
int perform(const Words& words);

/// Parses the words after a command's name; throws Usage where they do not fit.
void parseWords(CLI::App& app, const Words& words);

/// The name of an operation or parameter as command lines spell it.
std::string dashed(std::string_view name);

} // namespace orv::tool
