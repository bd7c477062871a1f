// Files that begin well and go on badly are refused, and leave no descriptor open.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "orv/orv.h"

namespace {

namespace fs = std::filesystem;

std::ptrdiff_t openDescriptors() {
    const fs::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

std::string beginningOf(const std::string& format) {
    if (format == "png") return "\x89PNG\r\n\x1a\n";
    if (format == "tif") return {"II*\0", 4};
    return "\xff\xd8\xff\xe0";
}

class Damaged : public testing::TestWithParam<const char*> {};

TEST_P(Damaged, IsRefusedAndClosed) {
    orv::Session session;
    const fs::path path = fs::temp_directory_path() / (std::string("orv-damaged-") + GetParam() + '.' + GetParam());
    const std::string beginning = beginningOf(GetParam());
    std::ptrdiff_t before = 0;
    for (int round = 0; round < 20; ++round) {
        std::ofstream(path, std::ios::binary) << beginning << std::string(static_cast<std::size_t>(round), '\x7f');
        EXPECT_THROW(session.read(path.string()), orv::Error);
        if (round == 0) before = openDescriptors();
    }
    EXPECT_EQ(openDescriptors(), before);
    fs::remove(path);
}

INSTANTIATE_TEST_SUITE_P(All, Damaged, testing::Values("png", "tif", "jpg"));

} // namespace
