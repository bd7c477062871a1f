// The examples of the catalogue, run as written: each names its input files, and these are made from one picture.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "canvas.h"
#include "commands.h"

namespace orv::tool {

/// The words of a command, split as a shell splits them (quotes, patterns of file names).
Words shellWords(const std::string& command);

/// The words of a command that name files to be read.
Words inputsOf(const Words& words);

/// Makes the file that an example names, from the picture; the kind is told by its name ("page.tif" is 1-bit,
/// "signed.tif" signed 16-bit, "inks.tif" has four bands). What is there already stays.
void makeInput(Session& session, const std::string& name, const Canvas& picture);

/// What came of an example.
struct Ran {
    int status = 0;
    std::string printed;   ///< on standard output
    std::string complaint; ///< on standard error
};

/// Runs the words of a command (after "orv") in a process of its own, in a folder.
Ran runApart(const Words& words, const std::filesystem::path& folder);

} // namespace orv::tool
