// The pages and the shell completion that are read from the catalogue.
#pragma once

#include <string>
#include <string_view>

namespace orv::tool {

/// docs/operations.md.
void printMarkdown();
/// The manual page of the tool.
void printMan();
/// Every operation, or one of them, as JSON.
void printJson(std::string_view only = {});
/// For bash.
void printCompletion();

/// Help on a topic; false where there is none of that name.
bool printTopic(std::string_view name);
std::string topicNames();

} // namespace orv::tool
