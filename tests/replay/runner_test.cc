// The runner: what it must notice, on a device that misbehaves on request.
#include "replay/Runner.h"

#include <gtest/gtest.h>

#include "replay/CaseText.h"
#include "replay/SampleMemory.h"

namespace {

using namespace orvcase;

const std::string rogue = ORV_BINARY_DIR "/tests/rogue.so";

Case caseOf(const std::string& text) { return readCases("case a\n" + text, "f").at(0); }

std::string mismatch(const std::string& text, Storage storage = Storage::heap) {
    const Outcome outcome = runCase(caseOf(text), {.build = rogue, .storage = storage});
    return outcome.passed() ? "" : outcome.mismatches[0].text;
}

// Four samples in 2 x 2 pixels, with the bytes 2, 5 and 6 between them, and a child of the right column.
const std::string images = "image d BYTE 2 2 1 pixel=2 stride=4\ndata 1 2 3 4\n"
                           "image k BYTE 1 2 1 parent=d at=1,0,0\n"
                           "image other BYTE 1 1 1\nfill 9\n";

TEST(Runner, PassesWhatIsRight) {
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\nout d\ndata 1 77 3 4\n"), "");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\nout d\ndata 1 * 3 4\nout k\ndata 77 4\n"), "");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=2\n"), "");
}

TEST(Runner, NoticesAWrongSample) {
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\nout d\ndata 1 76 3 5\n"),
              "out d column 1 row 0 band 0: expected 76, came 77 (2 of 4 samples differ)");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\nout d\nfill *\nout k\ndata 77 5\n"),
              "out k column 0 row 1 band 0: expected 5, came 4 (1 of 2 samples differ)");
}

TEST(Runner, AllowsNoMoreThanTheTolerance) {
    const std::string call = images + "call poke dst=d : l=2 l=77\nout d within=";
    EXPECT_EQ(mismatch(call + "2\ndata 3 75 3 4\n"), "");
    EXPECT_NE(mismatch(call + "1\ndata 1 75 3 4\n"), "");
    EXPECT_NE(mismatch(call + "1.5\ndata 1 79 3 4\n"), "");
}

TEST(Runner, NoticesAChangeBetweenSamples) {
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=1 l=0\nout d\nfill *\n"),
              "storage of d: byte 1, which holds bits that are no samples, was 165, is 0");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=3 l=165\n"), "");
}

TEST(Runner, NoticesAChangeOfABitThatIsNoSample) {
    const std::string bits = "image d BIT 3 1 1 offset=2\ndata 1 0 1\ncall poke dst=d : l=0 l=";
    // 0xA5 around the samples 1, 0, 1 is 10101101.
    EXPECT_EQ(mismatch(bits + "173\n"), "");
    EXPECT_EQ(mismatch(bits + "181\nout d\ndata 1 1 0\n"), "");
    EXPECT_NE(mismatch(bits + "172\nout d\nfill *\n"), "");
    EXPECT_NE(mismatch(bits + "45\nout d\nfill *\n"), "");
}

TEST(Runner, NoticesAChangeBesideTheStorage) {
    if (underSanitizer) GTEST_SKIP() << "the sanitizer notices it before";
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=-1 l=0\n"), "memory beside the storage of d was written");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=7 l=0\n"), "memory beside the storage of d was written");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=7 l=0\n", Storage::startsAtWall),
              "memory beside the storage of d was written");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=-1 l=0\n", Storage::endsAtWall),
              "memory beside the storage of d was written");
}

TEST(Runner, NoticesAChangeOfAnImageThatNothingIsSaidOf) {
    EXPECT_EQ(mismatch(images + "call poke src=d dst=other : l=0 l=1\nout d\ndata 1 2 3 4\n"),
              "image other must not change, but column 0 row 0 band 0 was 9, is 1");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\n"),
              "image d must not change, but column 1 row 0 band 0 was 2, is 77");
    // The second call starts from what the first left.
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\nout d\ndata 1 77 3 4\ncall poke dst=d : l=2 l=77\n"), "");
}

TEST(Runner, LetsACallPrepareAnother) {
    const std::string call = "call poke dst=d : l=2 l=77\n";
    const std::string told = "call poke dst=d : l=0 l=5\nout d\ndata 5 77 3 4\n";
    EXPECT_EQ(mismatch(images + call + told), "");
    EXPECT_EQ(mismatch(images + call + told + "call poke dst=d : l=4 l=9\n"), "");
    EXPECT_EQ(mismatch(images + "call poke dst=k : l=0 l=77\n" + told), "");
    const std::string unchanged = "image other must not change, but column 0 row 0 band 0 was 9, is 1";
    EXPECT_EQ(mismatch(images + "call poke dst=other : l=0 l=1\n" + call + "out d\ndata 1 77 3 4\n"), unchanged);
    // A call that must fail changes nothing that it does not name.
    const std::string fails = "call report_and_poke dst=d : l=2 l=77\nstatus 2\nerror di-9 1 0\n";
    EXPECT_EQ(mismatch(images + fails + told), "image d must not change, but column 1 row 0 band 0 was 2, is 77");
}

TEST(Runner, ComparesAParentOnlyWhereItIsNamed) {
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=2 l=77\nout k\ndata 77 4\n"), "");
    EXPECT_EQ(mismatch(images + "call poke dst=d : l=0 l=77\nout k\ndata 2 4\n"), "");
    EXPECT_NE(mismatch(images + "call poke dst=d : l=0 l=77\nout k\ndata 2 4\nout d\ndata 1 2 3 4\n"), "");
    const std::string two = "image k2 BYTE 1 2 1 parent=d at=0,0,0\n";
    EXPECT_NE(mismatch(images + two + "call poke dst=d : l=0 l=77\nout k\ndata 2 4\n"), "");
    EXPECT_EQ(mismatch(images + two + "call poke dst=d : l=0 l=77\nout k2\ndata 77 3\n"), "");
}

TEST(Runner, NoticesAWrongTouchedRegion) {
    const std::string call = images + "call leave dst=d : l=1\n";
    EXPECT_EQ(mismatch(call + "touched d 0,0,1,2;1,0,1,2;0,0,2,1\n"), "");
    EXPECT_EQ(mismatch(call + "touched d 0,0,2,1\n"), "touched d: expected 0,0,2,1, came 0,0,2,2");
    EXPECT_EQ(mismatch(call + "touched d none\n"), "touched d: expected none, came 0,0,2,2");
    EXPECT_EQ(mismatch(call + "touched d empty\n"), "touched d: expected empty, came 0,0,2,2");
    EXPECT_EQ(mismatch(call + "touched other none\n"), "");
    EXPECT_EQ(mismatch(call + "touched other empty\n"), "touched other: expected empty, came none");
    EXPECT_EQ(mismatch(images + "call leave dst=d : l=1\ncall leave dst=d : l=0\ntouched d none\n"), "");
}

TEST(Runner, NoticesWrongReports) {
    const std::string call = images + "call report dst=d : l=0\n";
    const std::string first = "error di-9 1 0 12 Rogue.cc\n";
    const std::string second = "error di-171 4 1\n";
    EXPECT_EQ(mismatch(call + first + second), "");
    EXPECT_EQ(mismatch(call + "error di-9 * * * *\nerror di-171 * 1 13 *\n"), "");
    EXPECT_EQ(mismatch(call + second + first), "error: expected di-171 4 1, came di-9 1 0 12 Rogue.cc");
    EXPECT_EQ(mismatch(call + first), "error: expected none, came di-171 4 1 13 Rogue.cc");
    EXPECT_EQ(mismatch(call + first + second + second), "error: expected di-171 4 1, came none");
    EXPECT_NE(mismatch(call + "error di-9 4 0\n" + second), "");
    EXPECT_NE(mismatch(call + "error di-9 1 1\n" + second), "");
    EXPECT_NE(mismatch(call + "error di-9 1 0 11 *\n" + second), "");
    EXPECT_NE(mismatch(call + "error di-9 1 0 * Rogue\n" + second), "");
    EXPECT_NE(mismatch(call), "");
}

TEST(Runner, NoticesAWrongStatus) {
    const std::string errors = "error di-9 1 0\nerror di-171 4 1\n";
    EXPECT_EQ(mismatch(images + "call report dst=d : l=2\n" + errors), "status: expected 0, came 2");
    EXPECT_EQ(mismatch(images + "call report dst=d : l=2\nstatus 2\n" + errors), "");
    EXPECT_EQ(mismatch(images + "call report dst=d : l=2\nstatus *\n" + errors), "");
    EXPECT_EQ(mismatch(images + "call peek dst=d : l=0\nstatus 2\n"), "status: expected 2, came 0");
}

TEST(Runner, NoticesWhatIsLeftBehind) {
    const std::string call = images + "call leave dst=d : l=1 l=2 l=3\n";
    EXPECT_EQ(mismatch(call + "live lists=1 rois=2 images=3\n"), "");
    EXPECT_EQ(mismatch(call), "");
    EXPECT_EQ(mismatch(call + "live lists=0 rois=2 images=3\n"), "live lists: expected 0, came 1");
    EXPECT_EQ(mismatch(call + "live rois=3\n"), "live rois: expected 3, came 2");
    EXPECT_EQ(mismatch(call + "live images=2\n"), "live images: expected 2, came 3");
}

TEST(Runner, NoticesWrongContentsAndResults) {
    const std::string call = images + "floats v 1.5 4\nslot s\ncall answer dst=d : @v @s\n";
    EXPECT_EQ(mismatch(call + "now v 3 8\nresult s SHORT BYTE 1 -5 2\ndata 7 9\n"), "");
    EXPECT_EQ(mismatch(call + "now v * 8\nresult s SHORT BYTE 1 -5 2\ndata * 9\n"), "");
    EXPECT_EQ(mismatch(call + "now v 3 9\n"), "now v value 1: expected 9, came 8");
    EXPECT_EQ(mismatch(call + "result s null\n"), "result s: expected null, came SHORT BYTE 1 -5 2");
    EXPECT_EQ(mismatch(call + "result s SHORT BYTE 1 -5 2\ndata 7 8\n"), "result s value 1: expected 8, came 9");
    EXPECT_EQ(mismatch(call + "result s SHORT BYTE 1 5 2\ndata 7 9\n"),
              "result s: expected SHORT BYTE 1 5 2, came SHORT BYTE 1 -5 2");
    EXPECT_EQ(mismatch(images + "slot s\ncall peek dst=d : l=0 @s\nresult s null\n"), "");
    EXPECT_EQ(mismatch(call + "now v 3 8\nset v 10 20\ncall answer dst=d : @v @s\nnow v 20 40\n"), "");
}

TEST(Runner, FailsTheNamedAllocations) {
    const auto call = [](const std::string& faults, int nulls) {
        return images + faults + "call allocate dst=d\nout d\ndata " + std::to_string(nulls) + " 2 3 4\n";
    };
    EXPECT_EQ(mismatch(call("", 0)), "");
    EXPECT_EQ(mismatch(call("fail new 1\n", 1)), "");
    EXPECT_EQ(mismatch(call("fail new 2\n", 2)), "");
    EXPECT_EQ(mismatch(call("fail new 3\n", 4)), "");
    EXPECT_EQ(mismatch(call("fail new 4\n", 8)), "");
    EXPECT_EQ(mismatch(call("fail new 1\nfail new 4\n", 9)), "");
    EXPECT_EQ(mismatch(call("fail new 5\n", 0)), "");
    // Faults are of the next call alone.
    EXPECT_EQ(mismatch(images + "fail new 9\ncall allocate dst=d\nout d\ndata 0 2 3 4\ncall allocate dst=d\n"), "");
}

TEST(Runner, RunsTheTwoLevelPath) {
    EXPECT_EQ(mismatch(images + "chain p count : l=40\ncall poke dst=d op1=p\nout d\ndata 42 2 3 4\n"), "");
    EXPECT_NE(mismatch(images + "chain p count : l=40\ncall peek dst=d op1=p\n"), "");
    EXPECT_EQ(mismatch(images + "chain d count : l=40\ncall poke dst=d op1=d\nout d\ndata 42 2 3 4\n"), "");
}

TEST(Runner, TellsWhatCannotBeRun) { EXPECT_NE(mismatch(images + "call no_such_op dst=d\nstatus *\n"), ""); }

// The rest needs processes of its own.

std::vector<CaseReport> forked(const std::string& text, bool isolate, Storage storage = Storage::heap) {
    return runForked(readCases(text, "f"), {.build = rogue, .storage = storage}, isolate);
}

const std::string counting = "image d BYTE 1 1 1\ncall count dst=d\nout d\ndata ";

TEST(Forked, CachesLiveOnFromCaseToCase) {
    const std::string text = "case a\n" + counting + "1\ncase b\n" + counting + "2\ncase c fresh\n" + counting +
                             "1\ncase d\n" + counting + "3\n";
    for (const CaseReport& report : forked(text, false)) EXPECT_TRUE(report.mismatches.empty());
    const auto isolated = forked(text, true);
    EXPECT_TRUE(isolated[0].mismatches.empty());
    EXPECT_FALSE(isolated[1].mismatches.empty());
    EXPECT_TRUE(isolated[2].mismatches.empty());
    EXPECT_FALSE(isolated[3].mismatches.empty());
}

TEST(Forked, ACrashFailsItsCaseAlone) {
    const std::string text = "case a\n" + counting + "1\ncase b\ncall crash\ncase c\n" + counting +
                             "1\ncase d\ncall leave_early\ncase e\n" + counting + "1\n";
    for (const bool isolate : {false, true}) {
        const auto reports = forked(text, isolate);
        ASSERT_EQ(reports.size(), 5u);
        EXPECT_TRUE(reports[0].mismatches.empty());
        ASSERT_EQ(reports[1].mismatches.size(), 1u);
        EXPECT_EQ(reports[1].mismatches[0].text, "the process crashed: Aborted");
        EXPECT_TRUE(reports[2].mismatches.empty());
        ASSERT_EQ(reports[3].mismatches.size(), 1u);
        EXPECT_EQ(reports[3].mismatches[0].text, "the process ended early, with status 3");
        EXPECT_TRUE(reports[4].mismatches.empty());
    }
}

TEST(Forked, AWallStopsAReadBeyondTheStorage) {
    const auto passes = [](int at, Storage storage) {
        const std::string text = "case a\n" + images + "call peek dst=d : l=" + std::to_string(at) + "\n";
        return forked(text, true, storage)[0].mismatches.empty();
    };
    EXPECT_TRUE(passes(6, Storage::endsAtWall));
    EXPECT_FALSE(passes(7, Storage::endsAtWall));
    EXPECT_TRUE(passes(0, Storage::startsAtWall));
    EXPECT_FALSE(passes(-1, Storage::startsAtWall));
}

TEST(Forked, PrintsAnOutcomeThatPasses) {
    const std::string text = "case a\n" + images +
                             "floats v 1 2\nslot s\ncall answer dst=d : @v @s\ncall report dst=d : l=2\nstatus *\n"
                             "call poke dst=d : l=4 l=9\ncall leave dst=d : l=1 l=2 l=3\n";
    const auto first = runForked(readCases(text, "f"), {.build = rogue, .keepOutcome = true}, false);
    EXPECT_FALSE(first[0].mismatches.empty());
    const auto again = runForked(readCases(first[0].printed, "f"), {.build = rogue, .keepOutcome = true}, false);
    EXPECT_TRUE(again[0].mismatches.empty()) << again[0].mismatches[0].text;
    EXPECT_EQ(again[0].printed, first[0].printed);
}

} // namespace
