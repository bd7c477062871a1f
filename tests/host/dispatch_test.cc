// Calls: which functions of a node run, what a device can do to its op, what is reported, faulted, counted and freed.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <new>
#include <set>
#include <string>
#include <thread>

#include "orv/device/device.h"
#include "orv/host/host.h"

namespace {

using namespace orv::host;

std::vector<std::string> trace;

// A device whose functions note that they ran and do what a test asks.
class TestDevice final : public OrvDeviceComputeType {
public:
    TestDevice() noexcept : OrvDeviceComputeType("TestDevice") {}

    OrvStatus succeed(OrvOp*, int count) { return note("succeed", count, ORV_SUCCESS); }
    OrvStatus decline(OrvOp*, int count) { return note("decline", count, ORV_FAILURE); }
    OrvStatus fail(OrvOp* op, int count) {
        op->getDst()->getSystemState()->notifyError(ORV_ERROR_INPUT, "di-204", 1, 12, "TestMemory.cc", nullptr);
        return note("fail", count, ORV_FAILURE);
    }
    OrvStatus failNamelessly(OrvOp*, int count) {
        orv_notify_error(nullptr, ORV_ERROR_RESOURCE, "di-1", 1, 30, "TestMemory.cc", nullptr);
        return note("failNamelessly", count, ORV_FAILURE);
    }
    OrvStatus warn(OrvOp* op, int count) {
        op->getDst()->getSystemState()->notifyError(ORV_ERROR_INPUT, "di-171", 1, 99, "TestMemory.cc", nullptr);
        return note("warn", count, ORV_SUCCESS);
    }
    OrvStatus act(OrvOp* op, int) { return action(op); }

    static inline std::function<OrvStatus(OrvOp*)> action;

private:
    static OrvStatus note(const char* name, int count, OrvStatus status) {
        trace.push_back(name + std::to_string(count));
        return status;
    }
};

using Member = OrvStatus (TestDevice::*)(OrvOp*, int);

struct Entry {
    const char* last;
    const char* earlier;
    Member function;
};

constexpr Entry entries[] = {
    {"plain", nullptr, &TestDevice::succeed},
    {"declined", nullptr, &TestDevice::succeed},
    {"declined", nullptr, &TestDevice::decline},
    {"failed", nullptr, &TestDevice::succeed},
    {"failed", nullptr, &TestDevice::fail},
    {"nameless", nullptr, &TestDevice::succeed},
    {"nameless", nullptr, &TestDevice::failNamelessly},
    {"hopeless", nullptr, &TestDevice::decline},
    {"warned", nullptr, &TestDevice::warn},
    {"often", nullptr, &TestDevice::decline},
    {"often", nullptr, &TestDevice::succeed},
    {"often", nullptr, &TestDevice::decline},
    {"often", nullptr, &TestDevice::decline},
    {"plain", "plain", &TestDevice::succeed},
    {"act", nullptr, &TestDevice::act},
};

OrvStatus enter(OrvOpTreeNode* root, TestDevice* device) {
    for (const Entry& e : entries) {
        OrvOpTreeNode* node = root->branch(e.last);
        if (e.earlier) node = node->branch(e.earlier);
        if (node->addFunction(device, static_cast<OrvOpFunction>(e.function)) == ORV_FAILURE) return ORV_FAILURE;
    }
    return ORV_SUCCESS;
}

OrvDeviceComputeType* makeTestDevice() noexcept {
    OrvOpTreeNode* const root = orv_global_state->getOpTreeBase();
    auto* const device = new (std::nothrow) TestDevice;
    if (!device) return nullptr;
    if (enter(root, device) == ORV_SUCCESS) return device;
    // Twice, as a group and the whole of a registration do.
    root->removeFunctions(device);
    root->removeFunctions(device);
    delete device;
    return nullptr;
}

class DispatchTest : public testing::Test {
protected:
    void SetUp() override {
        trace.clear();
        session_->setErrorHandler([this](const Report& report) { reports_.push_back(report); });
    }

    CallResult run(const char* name) {
        Owned<Op> op = Op::make(*session_, name);
        op->setSource(1, src_.get());
        op->setDestination(dst_.get());
        return session_->run(*op);
    }
    CallResult act(std::function<OrvStatus(OrvOp*)> action) {
        TestDevice::action = std::move(action);
        return run("act");
    }

    std::shared_ptr<Device> device_ = Device::fromFactory(makeTestDevice);
    Owned<Session> session_ = Session::open(device_);
    Owned<Image> src_ = Image::make(*session_, {.width = 8, .height = 8, .bands = 1});
    Owned<Image> dst_ = Image::make(*session_, {.width = 8, .height = 8, .bands = 1});
    std::vector<Report> reports_;
};

using Names = std::vector<std::string>;

TEST_F(DispatchTest, LastEnteredFunctionRunsFirst) {
    EXPECT_EQ(run("plain").status, ORV_SUCCESS);
    EXPECT_EQ(trace, (Names{"succeed1"}));
    trace.clear();
    const CallResult result = run("declined");
    EXPECT_EQ(result.status, ORV_SUCCESS);
    EXPECT_FALSE(result.declined);
    EXPECT_EQ(trace, (Names{"decline1", "succeed1"}));
    EXPECT_TRUE(reports_.empty());
}

TEST_F(DispatchTest, AReportedFailureEndsTheSearch) {
    const CallResult result = run("failed");
    EXPECT_EQ(result.status, ORV_FAILURE);
    EXPECT_FALSE(result.declined);
    EXPECT_EQ(result.reports, 1U);
    EXPECT_EQ(trace, (Names{"fail1"}));
    ASSERT_EQ(reports_.size(), 1U);
    EXPECT_EQ(reports_[0].id, "di-204");
    EXPECT_EQ(reports_[0].category, ORV_ERROR_INPUT);
    EXPECT_EQ(reports_[0].primary, 1);
    EXPECT_EQ(reports_[0].line, 12);
    EXPECT_EQ(reports_[0].file, "TestMemory.cc");
    EXPECT_EQ(reports_[0].operation, "failed");
    EXPECT_EQ(reports_[0].severity, Severity::error);
    EXPECT_EQ(session_->lastError(), reports_[0]);
}

TEST_F(DispatchTest, AReportWithoutASystemStateCountsAgainstADecline) {
    EXPECT_FALSE(run("nameless").declined);
    EXPECT_EQ(trace, (Names{"failNamelessly1"}));
    ASSERT_EQ(reports_.size(), 1U);
    EXPECT_EQ(reports_[0].id, "di-1");
}

TEST_F(DispatchTest, WhereEveryFunctionDeclinesNothingIsReported) {
    const CallResult result = run("hopeless");
    EXPECT_EQ(result.status, ORV_FAILURE);
    EXPECT_TRUE(result.declined);
    EXPECT_TRUE(reports_.empty());
    EXPECT_FALSE(session_->lastError());
}

TEST_F(DispatchTest, EachDistinctFunctionIsTriedOnce) {
    EXPECT_EQ(run("often").status, ORV_SUCCESS);
    EXPECT_EQ(trace, (Names{"decline1", "succeed1"}));
}

TEST_F(DispatchTest, AReportOfACallThatSucceedsIsAWarning) {
    const CallResult result = run("warned");
    EXPECT_EQ(result.status, ORV_SUCCESS);
    EXPECT_EQ(result.reports, 1U);
    ASSERT_EQ(reports_.size(), 1U);
    EXPECT_EQ(reports_[0].severity, Severity::warning);
    EXPECT_FALSE(session_->lastError());
}

TEST_F(DispatchTest, ChainsOfTwoTakeTheirOwnPath) {
    const Owned<Op> earlier = Op::make(*session_, "plain");
    const Owned<Op> last = Op::make(*session_, "plain");
    last->setOp1(earlier.get());
    EXPECT_EQ(session_->run(*last).status, ORV_SUCCESS);
    EXPECT_EQ(session_->run(*last, 1).status, ORV_SUCCESS);
    EXPECT_EQ(trace, (Names{"succeed2", "succeed1"}));
    EXPECT_EQ(last->getOp1(), earlier.get());
    EXPECT_TRUE(device_->has("plain", "plain"));
    EXPECT_FALSE(device_->has("plain", "warned"));
}

std::string refusal(Session& session, Op& op, int count) {
    try {
        session.run(op, count);
    } catch (const DispatchError& error) {
        return error.what();
    }
    return "";
}

TEST_F(DispatchTest, CallsThatCannotBeMadeSayWhy) {
    const Owned<Op> op = Op::make(*session_, "nothing");
    EXPECT_NE(refusal(*session_, *op, 1).find("no operation \"nothing\""), std::string::npos);
    op->reset("plain");
    EXPECT_NE(refusal(*session_, *op, 3).find("count of 1 or 2, not 3"), std::string::npos);
    EXPECT_NE(refusal(*session_, *op, 2).find("needs an op that feeds"), std::string::npos);
    const Owned<Op> earlier = Op::make(*session_, "warned");
    op->setOp1(earlier.get());
    EXPECT_NE(refusal(*session_, *op, 2).find("\"plain\" fed by \"warned\""), std::string::npos);
    const Owned<Session> bare = Session::openWithoutDevice();
    EXPECT_NE(refusal(*bare, *op, 1).find("no compute device"), std::string::npos);
    EXPECT_TRUE(trace.empty());
    // A refused call leaves the next one its way.
    EXPECT_EQ(run("plain").status, ORV_SUCCESS);
}

TEST_F(DispatchTest, RegistrationsAreKeptInTheirOrder) {
    const std::vector<std::string> paths = device_->registrations();
    ASSERT_EQ(paths.size(), std::size(entries));
    EXPECT_EQ(paths[0], "plain");
    EXPECT_EQ(paths[13], "plain/plain");
}

TEST_F(DispatchTest, AFailedRegistrationLeavesNothing) {
    for (unsigned n = 1; n <= std::size(entries); ++n)
        EXPECT_THROW(Device::fromFactory(makeTestDevice, n), DeviceError);
    EXPECT_NO_THROW(Device::fromFactory(makeTestDevice, static_cast<unsigned>(std::size(entries)) + 1));
    OrvOpTreeNode* const root = orv_global_state->getOpTreeBase();
    EXPECT_EQ(root->branch(nullptr), nullptr);
    EXPECT_EQ(root->branch("a"), root->branch("a"));
    EXPECT_EQ(root->branch("a")->addFunction(nullptr, nullptr), ORV_FAILURE);
}

// Parameters.

TEST_F(DispatchTest, ParametersReadAsTheirKind) {
    const Owned<Kernel> kernel = Kernel::make(*session_, 1, 1, 0, 0, nullptr, "k");
    int block = 0;
    const Owned<Op> op = Op::make(*session_, "act");
    op->addFloat(1.5F);
    op->addLong(-3);
    op->addPointer(&block);
    op->addObject(kernel.get());
    op->addFloat(0.0F);
    EXPECT_EQ(op->getFloatParam(1), 1.5F);
    EXPECT_EQ(op->getLongParam(2), -3);
    EXPECT_EQ(op->getPtrParam(3), &block);
    EXPECT_EQ(op->getObjParam(4), kernel.get());
    EXPECT_EQ(op->getPtrParam(4), static_cast<void*>(kernel.get()));
    EXPECT_EQ(op->getPtrParam(5), nullptr);
    EXPECT_EQ(op->getFloatParam(2), 0.0F);
    EXPECT_EQ(op->getLongParam(1), 0);
    EXPECT_EQ(op->getObjParam(3), nullptr);
    for (const int index : {-1, 0, 6, 1000}) {
        EXPECT_EQ(op->getPtrParam(index), nullptr);
        EXPECT_EQ(op->getFloatParam(index), 0.0F);
        EXPECT_EQ(op->getLongParam(index), 0);
        EXPECT_EQ(op->getObjParam(index), nullptr);
    }
    EXPECT_STREQ(kernel->getName(), "k");
}

TEST_F(DispatchTest, WhatADeviceGivesToAnOpLivesForTheCall) {
    float constants[2] = {1, 2};
    const Owned<Op> op = Op::make(*session_, "act");
    op->addPointer(constants);
    op->setDestination(dst_.get());
    TestDevice::action = [&](OrvOp* running) {
        auto* const ones = new float[2]{1, 1};
        running->setPtrParam(1, ones, 1);
        running->setPtrParam(2, ones, 1);      // twice the same block
        running->setPtrParam(3, constants, 1); // the caller's own
        running->setFloatParam(4, 2.5F);
        running->setObjParam(9, session_->createDitherMask(1, 1, 1, ones), 1);
        EXPECT_EQ(running->getPtrParam(1), ones);
        EXPECT_EQ(running->getPtrParam(3), constants);
        EXPECT_EQ(running->getFloatParam(4), 2.5F);
        EXPECT_EQ(static_cast<OrvDitherMask*>(running->getObjParam(9))->getValue()[0], 1.0F);
        EXPECT_EQ(running->getPtrParam(8), nullptr);
        return ORV_SUCCESS;
    };
    // The op serves again with the parameters that it was given.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(session_->run(*op).status, ORV_SUCCESS);
        EXPECT_EQ(op->getPtrParam(1), constants);
        EXPECT_EQ(op->getPtrParam(3), nullptr);
    }
    EXPECT_EQ(constants[1], 2);
}

// Objects that a device leaves behind.

TEST_F(DispatchTest, LiveObjectsAreCountedAndFreed) {
    const CallResult result = act([this](OrvOp* op) {
        OrvRoi* touched = nullptr;
        OrvRoiList* const list = OrviGetRoiList(&touched, op->getDst(), op->getSrc1(), nullptr, nullptr);
        op->getDst()->setPixelsTouchedRoi(touched);
        OrvRoi* const roi = session_->createRoi();
        roi->addRect(0, 0, 4, 4);
        OrvRoi* const moved = roi->translate(1, 1);
        roi->destroy();
        orv_destroy(nullptr);
        OrvRoiList* const other = moved->getRectList();
        other->destroy();
        session_->createImage(2, 2, 1, ORV_FLOAT);
        OrvImage* const temporary = session_->createImage(2, 2, 1, ORV_BYTE);
        OrvCreateCachedOp("copy", nullptr, temporary, op->getSrc1());
        temporary->destroy();
        EXPECT_NE(list, nullptr);
        return ORV_SUCCESS;
    });
    EXPECT_EQ(result.live, (LiveObjects{.lists = 1, .rois = 1, .images = 1}));
    EXPECT_EQ(rectsOf(dst_->touched()), (std::vector<Rect>{{0, 0, 8, 8}}));
    EXPECT_EQ(run("plain").live, LiveObjects{});
}

TEST_F(DispatchTest, ResultsOutliveTheCallAndAreFreedWithTheSession) {
    OrvLookup* slot = nullptr;
    OrvLookup* lost = nullptr;
    act([&](OrvOp*) {
        unsigned char table[] = {1, 2, 3, 4};
        slot = session_->createLookup(ORV_BYTE, ORV_BYTE, 2, 2, 5, table);
        lost = session_->createLookup(ORV_BYTE, ORV_BYTE, 1, 4, 0, table);
        return ORV_SUCCESS;
    });
    EXPECT_NE(lost, nullptr);
    const Owned<Lookup> mine = adopted(static_cast<Lookup*>(slot));
    EXPECT_EQ(mine->getNumEntries(), 2U);
    EXPECT_EQ(static_cast<unsigned char*>(mine->getData())[3], 4);
    // An object keeps its session: it can be read, and released, after the session's owner has gone.
    session_.reset();
    EXPECT_EQ(mine->getOffset(), 5);
    EXPECT_NE(mine->getSystemState(), nullptr);
}

TEST_F(DispatchTest, DestinationsGetANewVersion) {
    OrvVersionNumber before;
    dst_->getVersion(&before);
    OrvVersionNumber after;
    run("plain");
    dst_->getVersion(&after);
    EXPECT_TRUE(before != after);
}

TEST_F(DispatchTest, ASessionInUseIsNotReleasedByADevice) {
    act([](OrvOp* op) {
        op->getDst()->getSystemState()->destroy();
        return ORV_SUCCESS;
    });
    EXPECT_EQ(run("plain").status, ORV_SUCCESS);
}

// Faults. Each point is named with the call that it makes fail; the call answers whether it failed.

struct Point {
    const char* name;
    FaultPoint point;
    bool onImage;
    bool everyTime;
    bool (*fails)(OrvOp* op);
};

// Takes an object that the device was handed; true where there was none.
bool gone(OrvObject* object) {
    orv_destroy(object);
    return !object;
}

OrvRoi* ownRegion(OrvOp* op) { return op->getDst()->getImageSpaceRoi(); }
OrvSystemState* state(OrvOp* op) { return op->getSrc1()->getSystemState(); }

const Point points[] = {
    {"storage", FaultPoint::storage, true, false, [](OrvOp* op) { return !op->getDst()->getMemoryStorage(); }},
    {"imageRoi", FaultPoint::imageRoi, true, false, [](OrvOp* op) { return !op->getDst()->getImageSpaceRoi(); }},
    {"roi", FaultPoint::roi, true, false, [](OrvOp* op) { return gone(op->getDst()->getRoi()); }},
    {"roiList", FaultPoint::roiList, false, true,
     [](OrvOp* op) {
         OrvRoi* touched = nullptr;
         OrvRoiList* const list = OrviGetRoiList(&touched, op->getDst(), op->getSrc1(), nullptr, nullptr);
         orv_destroy(touched);
         return gone(list);
     }},
    {"rectList", FaultPoint::rectList, false, false, [](OrvOp* op) { return gone(ownRegion(op)->getRectList()); }},
    {"intersect", FaultPoint::intersect, false, false,
     [](OrvOp* op) { return gone(ownRegion(op)->intersect(ownRegion(op))); }},
    {"translate", FaultPoint::translate, false, false, [](OrvOp* op) { return gone(ownRegion(op)->translate(1, 1)); }},
    {"scale", FaultPoint::scale, false, false, [](OrvOp* op) { return gone(ownRegion(op)->scale(1, 1, 0, 0)); }},
    {"transpose", FaultPoint::transpose, false, false,
     [](OrvOp* op) { return gone(ownRegion(op)->transpose(0, 0, 0)); }},
    {"clone", FaultPoint::clone, false, false, [](OrvOp* op) { return gone(ownRegion(op)->clone()); }},
    {"createRoi", FaultPoint::createRoi, false, false, [](OrvOp* op) { return gone(state(op)->createRoi()); }},
    {"createImage", FaultPoint::createImage, false, false,
     [](OrvOp* op) { return gone(state(op)->createImage(1, 1, 1, ORV_BIT)); }},
    {"createLookup", FaultPoint::createLookup, false, false,
     [](OrvOp* op) { return gone(state(op)->createLookup(ORV_BYTE, ORV_BYTE, 1, 1, 0, op)); }},
    {"createMask", FaultPoint::createMask, false, false,
     [](OrvOp* op) {
         float value = 0.5F;
         return gone(state(op)->createDitherMask(1, 1, 1, &value));
     }},
    {"cachedOp", FaultPoint::cachedOp, false, false,
     [](OrvOp* op) {
         OrvOp* const copy = OrvCreateCachedOp("copy", nullptr, op->getDst(), op->getSrc1());
         if (copy) copy->flush();
         delete copy;
         return !copy;
     }},
    {"addRect", FaultPoint::addRect, false, false,
     [](OrvOp* op) {
         OrvRoi* const roi = state(op)->createRoi();
         const OrvStatus status = roi->addRect(0, 0, 1, 1);
         roi->destroy();
         return status == ORV_FAILURE;
     }},
    {"cube", FaultPoint::cube, false, true,
     [](OrvOp* op) {
         int multiplier = 0;
         unsigned dimension = 0;
         short origin = 0;
         return !static_cast<OrvLookup*>(op->getObjParam(1))->getColorCubeInfo(&multiplier, &dimension, &origin);
     }},
    {"systemState", FaultPoint::systemState, true, true, [](OrvOp* op) { return !op->getDst()->getSystemState(); }},
    {"scratch", FaultPoint::scratch, false, false,
     [](OrvOp* op) {
         OrvImage* const image = state(op)->createImage(1, 1, 1, ORV_BIT);
         const bool bare = !image->getMemoryStorage();
         image->destroy();
         return bare;
     }},
};

class FaultTest : public DispatchTest {
protected:
    FaultTest() {
        const unsigned char table[] = {0, 1};
        cube_ = Lookup::makeSingle(*session_, ORV_BYTE, ORV_BYTE, 1, 2, 0, table);
        cube_->setCube(std::array{1}, std::array{2U}, 0);
        dst_->setRegion(std::vector<Rect>{{0, 0, 3, 3}, {5, 5, 2, 2}});
    }

    // Which of four calls, made by a device, failed.
    std::string fourCalls(const Point& point, std::initializer_list<Fault> faults) {
        const Owned<Op> op = Op::make(*session_, "act");
        op->setSource(1, src_.get());
        op->setDestination(dst_.get());
        op->addObject(cube_.get());
        std::string outcome;
        TestDevice::action = [&](OrvOp* running) {
            for (int i = 0; i < 4; ++i) outcome += point.fails(running) ? 'x' : '.';
            return ORV_SUCCESS;
        };
        for (const Fault& fault : faults) session_->faults().arm(fault);
        // The host's own work is never faulted, nor counted.
        EXPECT_FALSE(point.fails(op.get())) << point.name;
        const CallResult result = session_->run(*op);
        EXPECT_EQ(result.live, LiveObjects{}) << point.name;
        EXPECT_TRUE(session_->faults().empty());
        return outcome;
    }

    Owned<Lookup> cube_;
};

TEST_F(FaultTest, EveryPointFailsTheCallThatIsNamed) {
    for (const Point& p : points) {
        SCOPED_TRACE(p.name);
        const OrvObject* const image = p.onImage ? dst_.get() : nullptr;
        EXPECT_EQ(fourCalls(p, {}), "....");
        EXPECT_EQ(fourCalls(p, {{p.point, image, 1}}), p.everyTime ? "xxxx" : "x...");
        EXPECT_EQ(fourCalls(p, {{p.point, image, 3}}), p.everyTime ? "xxxx" : "..x.");
        EXPECT_EQ(fourCalls(p, {{p.point, image, 2}, {p.point, image, 4}}), p.everyTime ? "xxxx" : ".x.x");
        if (!p.everyTime) {
            EXPECT_EQ(fourCalls(p, {{p.point, image, 9}}), "....");
        }
        if (p.onImage) {
            EXPECT_EQ(fourCalls(p, {{p.point, src_.get(), 1}}), "....");
        }
    }
}

TEST_F(FaultTest, CountersRunOnThroughAllFunctionsOfACall) {
    struct Counted final : OrvDeviceComputeType {
        Counted() noexcept : OrvDeviceComputeType("Counted") {}
        OrvStatus first(OrvOp* op, int) { return ask(op), ORV_SUCCESS; }
        OrvStatus second(OrvOp* op, int) { return ask(op), ORV_FAILURE; }
        static void ask(OrvOp* op) { trace.push_back(op->getDst()->getMemoryStorage() ? "there" : "missing"); }
    };
    const auto device = Device::fromFactory([]() noexcept -> OrvDeviceComputeType* {
        auto* const made = new (std::nothrow) Counted;
        if (!made) return nullptr;
        OrvOpTreeNode* const node = orv_global_state->getOpTreeBase()->branch("twice");
        node->addFunction(made, static_cast<OrvOpFunction>(&Counted::first));
        node->addFunction(made, static_cast<OrvOpFunction>(&Counted::second));
        return made;
    });
    const Owned<Session> session = Session::open(device);
    const Owned<Op> op = Op::make(*session, "twice");
    op->setDestination(dst_.get());
    session->faults().arm({FaultPoint::storage, dst_.get(), 2});
    EXPECT_EQ(session->run(*op).status, ORV_SUCCESS);
    EXPECT_EQ(trace, (Names{"there", "missing"}));
}

// Messages.

TEST(MessagesTest, EveryIdHasItsOwnWords) {
    const char* const ids[] = {"di-1",   "di-6",   "di-7",   "di-8",   "di-9",   "di-10",  "di-11",  "di-12",
                               "di-14",  "di-15",  "di-16",  "di-24",  "di-95",  "di-120", "di-138", "di-145",
                               "di-166", "di-167", "di-171", "di-173", "di-175", "di-202", "di-203", "di-204",
                               "di-205", "di-209", "di-210", "di-211", "di-216", "di-258", "di-289", "di-TBD"};
    EXPECT_EQ(messages().size(), std::size(ids));
    std::set<std::string> texts;
    const std::string unknown = messageText("di-9999");
    EXPECT_FALSE(unknown.empty());
    for (const char* const id : ids) {
        const std::string text = messageText(id);
        EXPECT_GT(text.size(), 10U) << id;
        EXPECT_NE(text, unknown) << id;
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), std::size(ids));
}

TEST(MessagesTest, TheDefaultHandlerWritesOneLine) {
    const Owned<Session> session = Session::openWithoutDevice();
    testing::internal::CaptureStderr();
    session->notifyError(ORV_ERROR_RESOURCE, "di-9", 0, 45, "Add8Memory.cc", nullptr);
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_EQ(line, "orv: error: device: the samples of the first source cannot be brought into memory [di-9, "
                    "Add8Memory.cc:45]\n");
    EXPECT_EQ(session->lastError().value_or(Report{}).id, "di-9");
    session->clearLastError();
    EXPECT_FALSE(session->lastError());
    testing::internal::CaptureStderr();
    orv_notify_error(nullptr, ORV_ERROR_RESOURCE, nullptr, 0, 0, nullptr, nullptr);
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
}

// Tables.

TEST(TablesTest, LookupsAnswerWhatTheyWereMadeOf) {
    const Owned<Session> session = Session::openWithoutDevice();
    const short first[] = {1, 2, 3};
    const short second[] = {9, 8};
    const LookupTable tables[] = {{first, 3, -5}, {second, 2, 7}};
    const Owned<Lookup> lookup = Lookup::makeCombined(*session, ORV_SHORT, ORV_SHORT, tables);
    EXPECT_EQ(lookup->getNumEntries(), 0U);
    EXPECT_EQ(lookup->getNBands(), 2U);
    EXPECT_EQ(lookup->getEntriesList()[1], 2U);
    EXPECT_EQ(lookup->getOffsetsList()[0], -5);
    EXPECT_EQ(static_cast<short*>(lookup->getDataList()[1])[1], 8);
    EXPECT_EQ(lookup->getOutputDataType(), ORV_SHORT);
    EXPECT_EQ(lookup->getIsColorCube(), 0);
    int multipliers[2] = {};
    unsigned dimensions[2] = {};
    short origin = 0;
    EXPECT_EQ(lookup->getColorCubeInfo(multipliers, dimensions, &origin), 0);

    const Owned<Lookup> cube = Lookup::makeSingle(*session, ORV_BYTE, ORV_BIT, 2, 3, 1, nullptr);
    EXPECT_TRUE(cube->setCube(std::array{1, -6}, std::array{6U, 4U}, -2));
    EXPECT_NE(cube->getIsColorCube(), 0);
    EXPECT_NE(cube->getColorCubeInfo(multipliers, dimensions, &origin), 0);
    EXPECT_EQ(multipliers[1], -6);
    EXPECT_EQ(dimensions[1], 4U);
    EXPECT_EQ(origin, -2);
    EXPECT_EQ(cube->sampleCount(), 6U);
}

TEST(TablesTest, OtherTablesAnswerWhatTheyWereMadeOf) {
    const Owned<Session> session = Session::openWithoutDevice();
    const float weights[] = {1, 2, 3, 4, 5, 6};
    const Owned<Kernel> kernel = Kernel::make(*session, 3, 2, 70000, 1, weights);
    EXPECT_EQ(kernel->getKeyX(), 70000U);
    EXPECT_EQ(kernel->getValue()[5], 6);
    EXPECT_EQ(kernel->getName(), nullptr);
    const unsigned flags[] = {1, 0, 7, 2};
    EXPECT_EQ(Sel::make(*session, 2, 2, 0, 9, flags)->getValue()[2], 7U);
    const Owned<DitherMask> mask = DitherMask::make(*session, 1, 3, 2, weights);
    EXPECT_EQ(mask->getNBands(), 2U);
    EXPECT_EQ(mask->getValue()[5], 6);
    const Owned<InterpolationTable> table = InterpolationTable::make(*session, 2, 3, weights);
    const std::unique_ptr<float[]> copy(table->getData());
    EXPECT_NE(copy.get(), table->values().data());
    EXPECT_EQ(copy[5], 6);
    const Owned<Histogram> histogram =
        Histogram::make(*session, std::array{3U, 4U}, std::array{0.0F, 1.0F}, std::array{2.0F, 3.0F});
    EXPECT_EQ(histogram->counters().size(), 12U);
    float high[2] = {};
    histogram->getHighValue(high);
    EXPECT_EQ(high[1], 3.0F);
    EXPECT_EQ(Histogram::make(*session, std::array{3U}, std::array{0.0F, 1.0F}, std::array{2.0F}), nullptr);
    EXPECT_EQ(Colorspace::make(*session, "cmyk")->getOpcode(), 10U);
    EXPECT_EQ(Colorspace::make(*session, 1U)->getOpcode(), 1U);
    EXPECT_EQ(Colorspace::make(*session, "none"), nullptr);
    EXPECT_EQ(Colorspace::make(*session, 11U), nullptr);
    OrvVersionNumber before;
    OrvVersionNumber after;
    kernel->getVersion(&before);
    renewVersion(*kernel);
    kernel->getVersion(&after);
    EXPECT_TRUE(before != after);
}

TEST(TablesTest, AKernelThatAnOpRewroteHasANewVersion) {
    const Owned<Session> session = Session::openWithoutDevice();
    const float weights[] = {1, 2, 3};
    const Owned<Kernel> kernel = Kernel::make(*session, 3, 1, 0, 0, weights);
    OrvVersionNumber before;
    OrvVersionNumber after;
    kernel->getVersion(&before);
    kernel->getVersion(&after);
    EXPECT_FALSE(before != after);
    kernel->getValue()[1] = 7;
    kernel->getVersion(&after);
    EXPECT_TRUE(before != after);
}

TEST_F(DispatchTest, CallsOfSeveralThreadsTakeTurns) {
    int running = 0;
    int most = 0;
    TestDevice::action = [&](OrvOp* op) {
        most = std::max(most, ++running);
        OrvRoi* touched = nullptr;
        OrvRoiList* const list = OrviGetRoiList(&touched, op->getDst(), op->getDst(), nullptr, nullptr);
        op->getDst()->setPixelsTouchedRoi(touched);
        list->destroy();
        --running;
        return ORV_SUCCESS;
    };
    std::vector<std::thread> threads(3);
    for (std::thread& thread : threads) {
        thread = std::thread([this] {
            const Owned<Session> session = Session::open(device_);
            const auto image = Image::make(*session, {.width = 8, .height = 8, .bands = 1});
            const Owned<Op> op = Op::make(*session, "act");
            op->setDestination(image.get());
            for (int i = 0; i < 500; ++i) EXPECT_EQ(session->run(*op).live, LiveObjects{});
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(most, 1);
}

} // namespace
