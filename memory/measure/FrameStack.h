// The stack of a flood: chunks of frames, unbounded apart from memory.
#pragma once

#include "memory/frame/orvi_new.h"

namespace orvi {

/// Chunks are kept when the stack shrinks and used again when it grows: a flood that swings about a chunk's end asks
/// for memory once. The control record and the first chunk are one allocation each.
template <class Frame>
class FrameStack {
    struct Chunk {
        Chunk* previous;
        Chunk* next;
        Frame frames[25];
    };

public:
    static constexpr unsigned chunkFrames = 25;

    FrameStack() noexcept : control_(1), first_(control_ ? newArray<Chunk>(1) : nullptr) {
        if (first_ != nullptr) control_[0] = Top(link(first_, nullptr));
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

    /// The place of the last frame. A flood holds it in registers while it runs.
    class Top {
    public:
        Top() noexcept = default;

        /// False, with the stack as it was, where a chunk cannot be had.
        bool push(const Frame& frame) noexcept {
            if (next_ == chunk_->frames + chunkFrames && !grow()) return false;
            *next_++ = frame;
            return true;
        }

        /// False where nothing is left.
        bool pop(Frame& frame) noexcept {
            if (next_ == chunk_->frames) {
                if (chunk_->previous == nullptr) return false;
                chunk_ = chunk_->previous;
                next_ = chunk_->frames + chunkFrames;
            }
            frame = *--next_;
            return true;
        }

        /// Whether the chunk has room for `count` frames more.
        bool hasRoom(int count) const noexcept { return chunk_->frames + chunkFrames - next_ >= count; }
        /// Pushes a frame, or does not: the chunk has room, and no branch is taken.
        void pushIf(bool wanted, const Frame& frame) noexcept {
            *next_ = frame;
            next_ += wanted ? 1 : 0;
        }

    private:
        friend class FrameStack;
        explicit Top(typename FrameStack::Chunk* chunk) noexcept : chunk_(chunk), next_(chunk->frames) {}

        bool grow() noexcept {
            Chunk* next = chunk_->next;
            if (next == nullptr) {
                next = newArray<Chunk>(1);
                if (next == nullptr) return false;
                chunk_->next = link(next, chunk_);
            }
            chunk_ = next;
            next_ = next->frames;
            return true;
        }

        Chunk* chunk_ = nullptr;
        Frame* next_ = nullptr;
    };

    Top top() const noexcept { return control_[0]; }

private:
    static Chunk* link(Chunk* chunk, Chunk* previous) noexcept {
        chunk->previous = previous;
        chunk->next = nullptr;
        return chunk;
    }

    Array<Top> control_;
    Chunk* first_;
};

} // namespace orvi
