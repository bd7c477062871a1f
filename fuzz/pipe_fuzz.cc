// Any words as the steps of `orv pipe`: refused in one line, or run on a small picture.

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "orv/Pipeline.h"
#include "step.h"

namespace {

constexpr unsigned width = 12;
constexpr unsigned height = 9;

orv::Image picture(orv::Session& session) {
    orv::Image image(session, width, height, 3, orv::Type::byte);
    for (unsigned i = 0; i < width * height * 3; ++i) {
        image.setSample(i / 3 % width, i / 3 / width, i % 3, static_cast<int>(i * 37 % 256));
    }
    return image;
}

/// Sizes that a person may ask for and a fuzzer has no time for.
bool isHuge(const std::string& text) {
    unsigned digits = 0;
    for (const char c : text) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (digits > 3) return true;
    }
    return text.find('e') != std::string::npos || text.find('E') != std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static orv::Session session;
    orv::tool::Words words;
    std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string word; text >> word;) {
        // Words that name files are the file readers' business.
        if (word.find('/') != std::string::npos || words.size() > 40) return -1;
        words.push_back(word);
    }
    try {
        const std::vector<orv::tool::Step> steps = orv::tool::stepsOf(words);
        orv::Pipeline pipeline(session);
        for (const orv::tool::Step& step : steps) {
            pipeline.then(std::string(step.operation->name), step.arguments, step.taken);
            if (!step.keptAs.empty()) pipeline.as(step.keptAs);
        }
        for (const std::string& word : words) {
            if (isHuge(word)) return 0;
        }
        const orv::Image source = picture(session);
        pipeline.run(std::vector<orv::Image>{source});
    } catch (const orv::tool::Usage&) {
    } catch (const orv::Error&) {
    } catch (const CLI::Error&) { // a word that asks for help
    }
    return 0;
}
