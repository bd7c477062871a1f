// Runs cases against a build of the device module and compares.
#pragma once

#include <string>
#include <vector>

#include "Case.h"

namespace orvcase {

/// How the storage of a case's images is laid out in memory.
enum class Storage {
    heap,        ///< between filled margins, at an address that is a multiple of 16
    endsAtWall,  ///< the last byte of the last sample lies just before an unreadable page
    startsAtWall ///< the first byte of the first sample lies just after an unreadable page
};

struct RunOptions {
    std::string build =
        {}; ///< name of a build of the module ("baseline", "v3", "v4"), or its path; empty: the best one
    Storage storage = Storage::heap;
    bool keepOutcome = false; ///< fill in Outcome::calls with all that happened (slower)
};

struct Mismatch {
    int line = 0;     ///< of the expectation, the call or the case, 0 where it was not read from a file
    std::string text; ///< what was expected, what came
};

struct Outcome {
    std::vector<Mismatch> mismatches; ///< none: the case passed
    /// What each call did: everything that changed, and everything that the expectations name. keepOutcome alone.
    std::vector<Expectations> calls;
    unsigned faultsMet = 0; ///< calls of the device's that a fault made fail, in all

    bool passed() const { return mismatches.empty(); }
};

/// Runs the case in this process (whether it is `fresh` or not) and compares. Never throws for what the case says: a
/// case that cannot be run (unknown op or name, wrong count of values) has a mismatch that tells why.
Outcome runCase(const Case& c, const RunOptions& options = {});

/// The case with what its calls did in the place of their expectations; of an outcome made with keepOutcome.
Case withOutcome(Case c, const Outcome& outcome);

/// What a case that ran in another process came to.
struct CaseReport {
    std::vector<Mismatch> mismatches; ///< none: the case passed
    std::string printed;              ///< the case with its outcome, as text; keepOutcome alone
    unsigned faultsMet = 0;
};

/// Runs the cases in order in a forked process, `fresh` ones (with `isolate` all) each in a forked process of its own,
/// in which the module's caches are as this process has them: at load, if it has not run cases itself. A crash is a
/// mismatch of the case that was running; the others go on.
std::vector<CaseReport> runForked(const std::vector<Case>& cases, const RunOptions& options, bool isolate);

/// The builds of the module that stand beside this program and that this processor can run, the best last.
std::vector<std::string> availableBuilds();

/// All storage policies, and their names on the command line.
const std::vector<Storage>& allStorages();
const char* storageName(Storage storage);

} // namespace orvcase
