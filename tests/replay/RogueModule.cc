// A device whose ops do, on request, what a device must not do: the runner has to notice all of it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "orv/device/device.h"

namespace {

int calls = 0; ///< a cache of sorts: lives as long as the module

class Rogue final : public OrvDeviceComputeType {
public:
    Rogue() noexcept : OrvDeviceComputeType("Rogue") {}

    static unsigned char* bytesOf(OrvImage* image) { return image->getMemoryStorage()->byte.data; }

    /// Byte l1 of the destination's storage, counted from its first sample, becomes l2.
    OrvStatus poke(OrvOp* op, int) noexcept {
        bytesOf(op->getDst())[op->getLongParam(1)] = static_cast<unsigned char>(op->getLongParam(2));
        return ORV_SUCCESS;
    }

    /// Reads it and does nothing with it.
    OrvStatus peek(OrvOp* op, int) noexcept {
        [[maybe_unused]] volatile unsigned char seen = bytesOf(op->getDst())[op->getLongParam(1)];
        return ORV_SUCCESS;
    }

    /// Leaves behind l1 lists, l2 regions, l3 images.
    OrvStatus leave(OrvOp* op, int) noexcept {
        OrvSystemState* state = op->getDst()->getSystemState();
        for (long i = 0; i < op->getLongParam(1); ++i) {
            OrvRoi* touched = nullptr;
            OrviGetRoiList(&touched, op->getDst(), nullptr, nullptr, nullptr);
            op->getDst()->setPixelsTouchedRoi(touched);
        }
        for (long i = 0; i < op->getLongParam(2); ++i) state->createRoi();
        for (long i = 0; i < op->getLongParam(3); ++i) state->createImage(1, 1, 1, ORV_BYTE);
        return ORV_SUCCESS;
    }

    /// Reports twice and answers l1.
    OrvStatus report(OrvOp* op, int) noexcept {
        OrvSystemState* state = op->getDst()->getSystemState();
        state->notifyError(ORV_ERROR_RESOURCE, "di-9", 0, 12, "Rogue.cc", nullptr);
        orv_notify_error(nullptr, ORV_ERROR_INPUT, "di-171", 1, 13, "Rogue.cc", nullptr);
        return static_cast<OrvStatus>(op->getLongParam(1));
    }

    /// Fails, and pokes all the same.
    OrvStatus reportAndPoke(OrvOp* op, int chain) noexcept {
        op->getDst()->getSystemState()->notifyError(ORV_ERROR_RESOURCE, "di-9", 0, 12, "Rogue.cc", nullptr);
        poke(op, chain);
        return ORV_FAILURE;
    }

    /// Allocates in four ways; the first sample of the destination becomes the number of nulls, one bit each.
    OrvStatus allocate(OrvOp* op, int) noexcept {
        void* volatile blocks[4] =
            {operator new(8, std::nothrow), operator new[](8, std::nothrow), operator new(8), operator new[](8)};
        unsigned nulls = 0;
        for (unsigned i = 0; i < 4; ++i) {
            if (blocks[i] == nullptr) nulls |= 1u << i;
        }
        bytesOf(op->getDst())[0] = static_cast<unsigned char>(nulls);
        operator delete(blocks[0]);
        operator delete[](blocks[1]);
        operator delete(blocks[2]);
        operator delete[](blocks[3]);
        return ORV_SUCCESS;
    }

    /// The first sample becomes the number of calls of this op since the module was loaded.
    OrvStatus count(OrvOp* op, int) noexcept {
        bytesOf(op->getDst())[0] = static_cast<unsigned char>(++calls);
        return ORV_SUCCESS;
    }

    OrvStatus crash(OrvOp*, int) noexcept { std::abort(); }
    OrvStatus leaveEarly(OrvOp*, int) noexcept { std::_Exit(3); }
    OrvStatus print(OrvOp*, int) noexcept {
        std::printf("the device prints");
        return ORV_SUCCESS;
    }

    /// The floats of parameter 1 are doubled; a lookup of two bytes goes to the slot of parameter 2.
    OrvStatus answer(OrvOp* op, int) noexcept {
        auto* values = static_cast<float*>(op->getPtrParam(1));
        for (int i = 0; i < 2; ++i) values[i] *= 2;
        unsigned char entries[2] = {7, 9};
        *static_cast<OrvLookup**>(op->getPtrParam(2)) =
            op->getDst()->getSystemState()->createLookup(ORV_SHORT, ORV_BYTE, 1, 2, -5, entries);
        return ORV_SUCCESS;
    }

    /// The first sample becomes parameter l1 of the op before.
    OrvStatus chained(OrvOp* op, int chain) noexcept {
        bytesOf(op->getDst())[0] = static_cast<unsigned char>(op->getOp1()->getLongParam(1) + chain);
        return ORV_SUCCESS;
    }
};

using Function = OrvStatus (Rogue::*)(OrvOp*, int);

void enter(Rogue* device, const char* name, Function function, const char* earlier = nullptr) {
    OrvOpTreeNode* node = orv_global_state->getOpTreeBase()->branch(name);
    if (earlier != nullptr) node = node->branch(earlier);
    node->addFunction(device, static_cast<OrvOpFunction>(function));
}

} // namespace

OrvDeviceComputeType* OrvCreateComputeType() noexcept {
    auto* device = new Rogue;
    enter(device, "poke", &Rogue::poke);
    enter(device, "peek", &Rogue::peek);
    enter(device, "leave", &Rogue::leave);
    enter(device, "report", &Rogue::report);
    enter(device, "report_and_poke", &Rogue::reportAndPoke);
    enter(device, "allocate", &Rogue::allocate);
    enter(device, "count", &Rogue::count);
    enter(device, "crash", &Rogue::crash);
    enter(device, "leave_early", &Rogue::leaveEarly);
    enter(device, "print", &Rogue::print);
    enter(device, "answer", &Rogue::answer);
    enter(device, "poke", &Rogue::chained, "count");
    return device;
}
