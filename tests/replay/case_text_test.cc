// Case files: good, bad and garbage text.
#include "replay/CaseText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace orvcase;

const char* const everything = R"(# every statement
case everything fresh
    image a BYTE 3 2 2 stride=9 pixel=4 origin=-1.5,0x1.8p+1 roi=0,0,2,1;-1,-1,5,1 io
    data 1 2 3 4 5 6
    data 7 8 9 10 11 12     # the second row
    image b BIT 5 2 2 stride=3 band=9 offset=7
    fill 1
    image s SHORT 1 1 1 roi=empty
    data -32768
    image w BYTE 1 1 1 roi=-2147483648,0,4294967295,1
    image f FLOAT 1 2 1
    data nan -inf
    image k BYTE 2 1 1 parent=a at=1,1,1 origin=2,3
    image d BYTE 3 2 2
    lookup l BYTE SHORT 2 -3 cube=1,6,-36:2,2,2:-5
    data 1 -2 3 4
    lookup m SHORT BIT combined
    table -32768 0 1 255
    data 7
    table 0
    kernel g 2 1 70000 4294967295 name=floyd-steinberg
    data 0.5 1e+30
    sel e 1 2 0 0
    data 0 4294967295
    mask t 1 1 2
    data 0.25 0x1p-2
    interp i 2 2
    data 1 2 3 4
    histogram h bins=2,3 low=0,-1 high=255,1.5
    data 0 1 2 3 4 5
    colorspace c photoycc
    floats fs 1 inf 3.4028235e+38
    ulongs us 4294967295 0
    slot r
    chain p multiply8 src=a,-,d : f=1.5
    fail storage a
    fail imageroi a 2
    fail roilist
    fail new 3
    call add8 src=-,d dst=d op1=p : f=0x1p-1 l=-3 @fs null @a @r
    status *
    error di-9 1 0 36 Add8Memory.cc
    error di-10 * 0
    error di-1 1 * * *
    out d within=0.5
    data 1 * 3 4 5 6 7 8 9 10 11 12
    out b
    fill *
    touched d 0,0,1,1;2,2,1,1
    touched a none
    touched b empty
    now fs 1 * nan
    now h 0 1 2 3 4
    data 5
    result r BYTE SHORT 1 -4 2
    data 1 *
    result r null
    live lists=0 rois=1 images=2
    set l 5 6 7 8
    set m 1 2 3 4
    touch l
    call copy8 src=a dst=d
)";

TEST(CaseText, ReadsEveryStatement) {
    const std::vector<Case> cases = readCases(everything, "x.case");
    ASSERT_EQ(cases.size(), 1u);
    const Case& c = cases[0];
    EXPECT_EQ(c.name, "everything");
    EXPECT_TRUE(c.fresh);
    EXPECT_EQ(c.line, 2);
    EXPECT_EQ(c.file, "x.case");

    const Image& a = c.image("a");
    EXPECT_EQ(a.rowStride(), 9u);
    EXPECT_EQ(a.samplesPerPixel(), 4u);
    EXPECT_EQ(a.originX, -1.5f);
    EXPECT_EQ(a.originY, 3.0f);
    EXPECT_EQ(a.roi, (Region{{0, 0, 2, 1}, {-1, -1, 5, 1}}));
    EXPECT_TRUE(a.io);
    EXPECT_EQ(a.at(2, 1, 1), 12);
    EXPECT_EQ(c.image("b").planeStride(), 9u);
    EXPECT_EQ(c.image("b").at(4, 1, 1), 1);
    EXPECT_EQ(c.image("s").roi, Region{});
    EXPECT_EQ(c.image("w").roi, (Region{{-2147483648, 0, 4294967295, 1}}));
    EXPECT_EQ(c.image("s").at(0, 0, 0), -32768);
    EXPECT_TRUE(std::isnan(c.image("f").data[0]));
    EXPECT_EQ(c.image("k").parent, "a");
    EXPECT_EQ(c.image("k").atBand, 1u);
    EXPECT_FALSE(c.image("d").roi);

    EXPECT_EQ(c.lookups[0].tables[0].offset, -3);
    EXPECT_EQ(c.lookups[0].cube->multipliers, (std::vector<int>{1, 6, -36}));
    EXPECT_EQ(c.lookups[0].cube->origin, -5);
    ASSERT_EQ(c.lookups[1].tables.size(), 2u);
    EXPECT_EQ(c.lookups[1].tables[0].data, (Values{0, 1, 255, 7}));
    EXPECT_TRUE(c.lookups[1].tables[1].data.empty());
    EXPECT_EQ(c.kernels[0].keyY, 4294967295u);
    EXPECT_EQ(c.kernels[0].label, "floyd-steinberg");
    EXPECT_EQ(c.kernels[0].data[1], 1e+30f);
    EXPECT_EQ(c.sels[0].data[1], 4294967295.0);
    EXPECT_EQ(c.histograms[0].data.size(), 6u);
    EXPECT_EQ(c.floats[0].data[2], std::numeric_limits<float>::max());

    ASSERT_EQ(c.steps.size(), 5u);
    const Call& call = std::get<Call>(c.steps[0]);
    EXPECT_EQ(call.src, (std::array<std::string, 3>{"", "d", ""}));
    EXPECT_EQ(call.op1, "p");
    ASSERT_EQ(call.params.size(), 6u);
    EXPECT_EQ(call.params[1].integer, -3);
    EXPECT_EQ(call.params[3].kind, Param::Kind::null);
    ASSERT_EQ(call.faults.size(), 4u);
    EXPECT_EQ(call.faults[1].nth, 2u);
    EXPECT_EQ(call.faults[3].point, FaultPoint::newMemory);
    const Expectations& e = call.expect;
    EXPECT_FALSE(e.status);
    ASSERT_EQ(e.errors.size(), 3u);
    EXPECT_EQ(e.errors[0].file, "Add8Memory.cc");
    EXPECT_FALSE(e.errors[1].category);
    EXPECT_EQ(e.out[0].within, 0.5);
    EXPECT_FALSE(e.out[0].values[1]);
    EXPECT_FALSE(e.out[1].fill);
    EXPECT_TRUE(e.out[1].values.empty());
    EXPECT_EQ(e.touched[0].region->size(), 2u);
    EXPECT_FALSE(e.touched[1].region);
    EXPECT_EQ(e.touched[2].region, Region{});
    EXPECT_EQ(e.now[1].values.size(), 6u);
    EXPECT_EQ(e.results[0].offset, -4);
    EXPECT_TRUE(e.results[1].null);
    EXPECT_EQ(e.live.images, 2u);
    EXPECT_EQ(std::get<SetContents>(c.steps[2]).values.size(), 4u);
    const Call& second = std::get<Call>(c.steps[4]);
    EXPECT_EQ(second.expect.status, 0);
    EXPECT_TRUE(second.faults.empty());
}

TEST(CaseText, WritesWhatItReads) {
    const std::string once = writeCase(readCases(everything, "x").at(0));
    EXPECT_EQ(writeCase(readCases(once, "x").at(0)), once);
    EXPECT_NE(once.find("call add8 src=-,d dst=d op1=p : f=0.5 l=-3 @fs null @a @r"), std::string::npos) << once;
}

TEST(CaseText, RoundsDecimalFloatsOnce) {
    // The first lies just above the middle of two neighbours in single precision; by way of a double it would fall on
    // it.
    const auto value = [](const std::string& text) {
        return static_cast<float>(readCases("case a\nfloats f " + text + "\n", "x").at(0).floats[0].data.at(0));
    };
    EXPECT_EQ(value("1.00000005960464477540"), 0x1.000002p+0f);
    EXPECT_EQ(value("16777217"), 16777216.0f);
    EXPECT_EQ(value("1e40"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(value("0x.8P1"), 1.0f);
    EXPECT_EQ(value("-.5"), -0.5f);
    EXPECT_EQ(value("1e-45"), std::numeric_limits<float>::denorm_min());
}

struct Bad {
    const char* text;
    const char* message;
};

TEST(CaseText, TakesAKeyBeforeAKernel) {
    const Case c = readCases("case a\nkernel k 1 1 -1 -2\ndata 1\n", "f").at(0);
    EXPECT_EQ(c.kernels[0].keyX, 4294967295U);
    EXPECT_EQ(c.kernels[0].keyY, 4294967294U);
}

TEST(CaseText, TellsWhereAFileIsBad) {
    const Bad all[] = {
        {"image a BYTE 1 1 1\n", "f:1: a case must come first"},
        {"case a\nbogus\n", "f:2: unknown statement 'bogus'"},
        {"case a\n\nimage a BYTE 0 1 1\n", "f:3: '0' is no width (an integer from 1 to 2147483647)"},
        {"case a\nimage a BYTE 1 1\n", "f:2: missing band count"},
        {"case a\nimage a WORD 1 1 1\n", "f:2: 'WORD' is no data type"},
        {"case a\nimage 1a BYTE 1 1 1\n", "f:2: '1a' is no name"},
        {"case a\nimage a BYTE 2 1 1\ndata 1\n", "f:2: image a needs 2 values, has 1"},
        {"case a\nimage a BYTE 2 1 1\ndata 1 2\ndata 3\n", "f:4: image a needs 2 values, has more"},
        {"case a\nimage a BYTE 2 1 1\ndata 1 256\n", "f:3: '256' is no value of image a"},
        {"case a\nimage a BIT 2 1 1\ndata 1 2\n", "f:3: '2' is no value of image a"},
        {"case a\nimage a BYTE 2 1 1\ndata 1 *\n", "f:3: '*' is no value of image a"},
        {"case a\nimage a BYTE 1 1 1 offset=1\n", "f:2: a stride of another data type"},
        {"case a\nimage a BIT 1 1 1 offset=8\n", "f:2: '8' is no bit offset (an integer from 0 to 7)"},
        {"case a\nimage a BYTE 1 1 1 roi=1,2,3\n", "f:2: '1,2,3' is no rectangle X,Y,W,H"},
        {"case a\nimage a BYTE 1 1 1 wide=3\n", "f:2: unknown word 'wide=3'"},
        {"case a\nimage a BYTE 1 1 1 stride=1 stride=1\n", "f:2: 'stride' is given twice"},
        {"case a\nimage a BYTE 1 1 1\nimage a BYTE 1 1 1\n", "f:3: the name a is taken"},
        {"case a\nimage a BYTE 1 1 1 parent=b\n", "f:2: nothing is named 'b'"},
        {"case a\nimage p BYTE 2 1 1\nimage a BYTE 2 1 1 parent=p at=1,0,0\n",
         "f:3: the child does not lie within its parent"},
        {"case a\nimage a BYTE 100000 100000 1000\n", "f:2: image a is too large"},
        {"case a\ndata 1\n", "f:2: nothing before this takes data"},
        {"case a\nlookup l BYTE BYTE 2 0\ndata 1 2 3\n", "f:2: lookup l has 3 values, no multiple of 2"},
        {"case a\ntable 0 1\n", "f:2: no combined lookup stands before this"},
        {"case a\nkernel k 2 1 0 0\ndata 1 1e\n", "f:3: '1e' is no value of k"},
        {"case a\ncolorspace c rgb\n", "f:2: 'rgb' is no colour space"},
        {"case a\nhistogram h bins=1 low=0\n", "f:2: missing high"},
        {"case a\nstatus 0\n", "f:2: no call stands before this"},
        {"case a\ncall add8 src=x\n", "f:2: nothing is named 'x'"},
        {"case a\ncall add8 : 3\n", "f:2: '3' is no parameter"},
        {"case a\ncall add8 op1=p\n", "f:2: no chain is named 'p'"},
        {"case a\nchain p add8\nchain p add8\n", "f:3: the chain p is there already"},
        {"case a\nchain p add8\ncall add8 : @p\n", "f:3: nothing is named 'p'"},
        {"case a\nfail storm\n", "f:2: 'storm' is no fault point"},
        {"case a\nfail new 1\n", "f:2: no call follows the fault"},
        {"case a\nslot s\ncall x\nnow s 1\n", "f:4: s is no floats, ulongs, kernel or histogram"},
        {"case a\nfloats s 1\nset s 1 2\n", "f:3: s needs 1 values, has more"},
        {"case a\nfloats s 1 2\nset s 1\n", "f:3: s needs 2 values, has 1"},
    };
    for (const Bad& bad : all) {
        try {
            readCases(bad.text, "f");
            ADD_FAILURE() << "no complaint about " << bad.text;
        } catch (const ReadError& error) {
            EXPECT_STREQ(error.what(), bad.message) << bad.text;
        }
    }
}

TEST(CaseText, CannotReadWhatIsNoFile) {
    EXPECT_THROW(readCaseFile("/no/such/file.case"), ReadError);
    EXPECT_THROW(readCaseFile("/"), ReadError);
}

std::string garbage(std::mt19937& random) {
    std::string text = everything;
    const auto below = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
    static const std::string bits = " \n#=,;:@*-+.0123456789abefinxp\t\xff\0";
    for (std::size_t changes = below(12) + 1; changes > 0; --changes) {
        const std::size_t at = below(text.size());
        switch (below(4)) {
        case 0:
            text[at] = bits[below(bits.size())];
            break;
        case 1:
            text.erase(at, below(30));
            break;
        case 2:
            text.insert(at, std::string(below(5) + 1, bits[below(bits.size())]));
            break;
        case 3:
            text.insert(at, everything + below(800), below(40));
            break;
        }
        if (text.empty()) return text;
    }
    return text;
}

TEST(CaseText, SurvivesGarbage) {
    std::mt19937 random(20);
    int read = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string text = garbage(random);
        try {
            for (const Case& c : readCases(text, "f")) {
                const std::string once = writeCase(c);
                ASSERT_EQ(writeCase(readCases(once, "f").at(0)), once) << "change " << i << " of\n" << text;
                ++read;
            }
        } catch (const ReadError&) {
            // What matters is that nothing worse comes of it.
        }
    }
    EXPECT_GT(read, 100);
}

} // namespace
