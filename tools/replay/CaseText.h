// Case files: their text read and written.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Case.h"

namespace orvcase {

/// A text that cannot be read; what() is "file:line: message".
class ReadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The cases of a text; `file` names it in messages and in Case::file. Throws ReadError.
std::vector<Case> readCases(std::string_view text, const std::string& file);

/// The cases of a file. Throws ReadError.
std::vector<Case> readCaseFile(const std::string& path);

/// The case as text; read again it gives an equal case.
std::string writeCase(const Case& c);

} // namespace orvcase
