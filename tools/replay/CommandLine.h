// What the programs that play cases have in common on their command lines.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Runner.h"

namespace orvcase {

/// A command line that says what cannot be done.
struct WrongUse {
    std::string what;
};

/// The word after option `words[i]`; moves on to it.
inline const std::string& valueOf(const std::vector<std::string>& words, std::size_t& i) {
    if (i + 1 == words.size()) throw WrongUse{words[i] + " needs a value"};
    return words[++i];
}

/// A build of the module, by its name or its path, or all that this machine can run. One that is not there is told
/// before any case is played, not by each of them.
inline std::vector<std::string> buildsNamed(const std::string& name) {
    std::vector<std::string> all = availableBuilds();
    if (name == "all") return all;
    const bool path = name.find('/') != std::string::npos;
    if (path ? std::filesystem::exists(name) : std::ranges::find(all, name) != all.end()) return {name};
    std::string known;
    for (const std::string& each : all) known += (known.empty() ? "" : ", ") + each;
    throw WrongUse{"there is no build " + name + " here; there are " + known + " and paths of modules"};
}

/// A storage policy, or all of them.
inline std::vector<Storage> storagesNamed(const std::string& name) {
    if (name == "all") return allStorages();
    for (const Storage each : allStorages()) {
        if (name == storageName(each)) return {each};
    }
    throw WrongUse{"no storage policy is named " + name};
}

} // namespace orvcase
