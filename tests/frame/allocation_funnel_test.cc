// Every allocation of the device goes through one function, so that each can be made to fail.

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string outputOf(const std::string& command) {
    struct Close {
        void operator()(std::FILE* pipe) const { pclose(pipe); }
    };
    const std::unique_ptr<std::FILE, Close> pipe(popen(command.c_str(), "r"));
    std::string text;
    std::array<char, 4096> block{};
    while (std::fgets(block.data(), block.size(), pipe.get()) != nullptr) text += block.data();
    return text;
}

TEST(AllocationFunnel, IsTheOnlyObjectThatRefersToOperatorNew) {
    const std::string objects = std::string(ORV_BINARY_DIR) + "/memory/CMakeFiles/orv_module_objects_baseline.dir";
    // _Znw and _Zna are the two forms of operator new; malloc and its kin count as well.
    const std::string users =
        outputOf("cd '" + objects +
                 "' && for o in $(find . -name '*.o'); do nm -u $o | "
                 "grep -qE ' (_Zn[wa].*|malloc|calloc|realloc|aligned_alloc|posix_memalign)$' && echo $o; done; true");
    EXPECT_NE(users.find("orvi_new"), std::string::npos)
        << "the funnel itself must be found, else this test sees nothing";
    EXPECT_EQ(users.find('\n'), users.size() - 1) << users;
}

TEST(ModuleExports, AreTheFactoryAndTheColourTable) {
    const std::string module = std::string(ORV_BINARY_DIR) + "/lib/orvcomputememory.so.1";
    const std::string names = outputOf("nm -D --defined-only '" + module + "' | awk '{print $3}' | sort");
    EXPECT_TRUE(names == "OrvCreateComputeType\n" || names == "OrvCreateComputeType\n_L2NLtable\n") << names;
}

} // namespace
