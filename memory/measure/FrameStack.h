// The stack of a flood: chunks of frames, unbounded apart from memory.
#pragma once

#include "memory/frame/orvi_new.h"

namespace orvi {

/// Chunks are kept when the stack shrinks and used again when it grows: a flood that swings about a chunk's end asks
/// for memory once. The control record and the first chunk are one allocation each.
template <class Frame>
class FrameStack {
public:
    static constexpr unsigned chunkFrames = 25;

    FrameStack() noexcept : control_(1), first_(control_ ? newArray<Chunk>(1) : nullptr) {
        if (first_ != nullptr) *control_.get() = {link(first_, nullptr), 0};
    }
    FrameStack(const FrameStack&) = delete;
    FrameStack& operator=(const FrameStack&) = delete;
    ~FrameStack() {
        for (Chunk* chunk = first_; chunk != nullptr;) {
            Chunk* const next = chunk->next;
            orvi_delete(chunk);
            chunk = next;
        }
    }

    explicit operator bool() const noexcept { return first_ != nullptr; }

    /// False, with the stack as it was, where a chunk cannot be had.
    bool push(const Frame& frame) noexcept {
        Control& control = control_[0];
        if (control.used == chunkFrames) {
            Chunk* next = control.chunk->next;
            if (next == nullptr) {
                next = newArray<Chunk>(1);
                if (next == nullptr) return false;
                control.chunk->next = link(next, control.chunk);
            }
            control = {next, 0};
        }
        control.chunk->frames[control.used++] = frame;
        return true;
    }

    /// False where nothing is left.
    bool pop(Frame& frame) noexcept {
        Control& control = control_[0];
        if (control.used == 0) {
            if (control.chunk->previous == nullptr) return false;
            control = {control.chunk->previous, chunkFrames};
        }
        frame = control.chunk->frames[--control.used];
        return true;
    }

private:
    struct Chunk {
        Chunk* previous;
        Chunk* next;
        Frame frames[chunkFrames];
    };
    struct Control {
        Chunk* chunk;
        unsigned used;
    };

    static Chunk* link(Chunk* chunk, Chunk* previous) noexcept {
        chunk->previous = previous;
        chunk->next = nullptr;
        return chunk;
    }

    Array<Control> control_;
    Chunk* first_;
};

} // namespace orvi
