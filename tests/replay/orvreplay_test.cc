// The program orvreplay: what it prints and answers.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

const std::string rogue = ORV_BINARY_DIR "/tests/rogue.so";

struct Answer {
    int status;
    std::string text;
};

Answer orvreplay(const std::string& words) {
    const std::string command = ORV_BINARY_DIR "/bin/orvreplay " + words;
    std::FILE* pipe = popen(command.c_str(), "r");
    Answer answer{-1, {}};
    if (pipe == nullptr) return answer;
    std::array<char, 4096> block{};
    while (const std::size_t got = std::fread(block.data(), 1, block.size(), pipe))
        answer.text.append(block.data(), got);
    answer.status = WEXITSTATUS(pclose(pipe));
    return answer;
}

class Orvreplay : public testing::Test {
protected:
    void SetUp() override {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        path_ = (std::filesystem::temp_directory_path() / ("orvreplay_test_" + std::string(info->name()) + ".case"))
                    .string();
    }
    void TearDown() override { std::filesystem::remove(path_); }

    /// Runs it on a file of that text, on the misbehaving device.
    Answer run(const std::string& text, const std::string& words = "") {
        std::ofstream(path_) << text;
        return orvreplay("--build " + rogue + " " + words + " " + path_);
    }

    std::string path_;
};

const std::string good = "case good\nimage d BYTE 1 1 1\nfill 3\ncall peek dst=d : l=0\n";
const std::string bad = "\ncase bad\nimage d BYTE 2 1 1\ncall poke dst=d : l=1 l=5\nout d\ndata 0 6\nstatus 2\n";

TEST_F(Orvreplay, CountsAndAnswers) {
    const Answer passed = run(good);
    EXPECT_EQ(passed.status, 0);
    EXPECT_EQ(passed.text, "1 passed, 0 failed\n");
    const Answer failed = run(good + bad);
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.text,
              "FAIL " + path_ +
                  ":6 case bad: line 8: status: expected 2, came 0\n"
                  "    also line 9: out d column 1 row 0 band 0: expected 6, came 5 (1 of 2 samples differ)\n"
                  "1 passed, 1 failed\n");
}

TEST_F(Orvreplay, QuietKeepsToOneLineACase) {
    const Answer failed = run(good + bad, "--quiet");
    EXPECT_EQ(failed.text, "FAIL " + path_ + ":6 case bad: line 8: status: expected 2, came 0\n1 passed, 1 failed\n");
}

TEST_F(Orvreplay, FiltersAndLists) {
    EXPECT_EQ(run(good + bad, "--filter 'g*'").text, "1 passed, 0 failed\n");
    EXPECT_EQ(run(good + bad, "--list").text, "good\nbad\n");
    EXPECT_EQ(run(good + bad, "--list --filter '*a*'").text, "bad\n");
}

TEST_F(Orvreplay, CountsACaseOnceForAllPolicies) {
    EXPECT_EQ(run(good, "--storage all").text, "1 passed, 0 failed\n");
    const Answer failed = run(good + bad, "--quiet --storage all");
    EXPECT_NE(failed.text.find(", ends-at-wall]\n"), std::string::npos) << failed.text;
    EXPECT_TRUE(failed.text.ends_with("\n1 passed, 1 failed\n"));
}

TEST_F(Orvreplay, PrintsWhatCame) {
    const std::string call = "case bad\nimage d BYTE 2 1 1\nfill 0\ncall poke dst=d : l=1 l=5\n";
    const Answer printed = run(bad, "--print 2>/dev/null");
    EXPECT_EQ(printed.text, call + "out d\ndata 0 5\ntouched d none\nlive lists=0 rois=0 images=0\n");
    EXPECT_EQ(printed.status, 1);
    EXPECT_EQ(run(printed.text).text, "1 passed, 0 failed\n");
}

TEST_F(Orvreplay, KeepsTheDevicesPrintsOutOfItsOwn) {
    EXPECT_EQ(run("case p\nimage d BYTE 1 1 1\ncall print dst=d\n", "2>/dev/null").text, "1 passed, 0 failed\n");
}

TEST_F(Orvreplay, AnswersTwoForWhatCannotBeRead) {
    EXPECT_EQ(orvreplay("/no/such/file.case 2>&1").text, "/no/such/file.case:0: cannot be read\n");
    EXPECT_EQ(orvreplay("/no/such/file.case 2>/dev/null").status, 2);
    const Answer answer = run("case a\nimage\n", "2>&1");
    EXPECT_EQ(answer.status, 2);
    EXPECT_EQ(answer.text, path_ + ":2: missing name\n");
}

TEST_F(Orvreplay, AnswersTwoForWrongUse) {
    EXPECT_EQ(orvreplay("2>/dev/null").status, 2);
    EXPECT_EQ(orvreplay("--bogus x 2>/dev/null").status, 2);
    EXPECT_EQ(orvreplay("--storage nowhere x 2>/dev/null").status, 2);
    EXPECT_EQ(orvreplay("--build v9 x 2>/dev/null").status, 2);
    EXPECT_EQ(orvreplay("--build /no/such/module.so x 2>/dev/null").status, 2);
    EXPECT_EQ(orvreplay("--help").status, 0);
}

} // namespace
