// What the programs that play cases have in common on their command lines.
#pragma once

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

/// A build of the module, or all that this machine can run.
inline std::vector<std::string> buildsNamed(const std::string& name) {
    return name == "all" ? availableBuilds() : std::vector<std::string>{name};
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
