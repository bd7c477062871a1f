// The stack of a flood: chunks of frames, unbounded apart from memory.
#pragma once

#include <cstddef>

#include "memory/frame/orvi_new.h"

namespace orvi {

/// Chunks are kept when the stack shrinks and used again when it grows: a flood that swings about a chunk's end asks
/// for memory once. The control record and the first chunk are one allocation each.
template <class Frame>
class FrameStack {
    struct Chunk {
        Chunk* previous;
        Chunk* next;
        bool refused; ///< the next one was asked for in a trial, and could not be had
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
        Top(const Top& top, bool tries) noexcept : chunk_(top.chunk_), next_(top.next_), tries_(tries) {}

        bool grow() noexcept {
            Chunk* const next = chunk_->refused ? nullptr : after(chunk_);
            if (next == nullptr) {
                chunk_->refused = tries_;
                return false;
            }
            chunk_ = next;
            next_ = next->frames;
            return true;
        }

        Chunk* chunk_ = nullptr;
        Frame* next_ = nullptr;
        bool tries_ = false;
    };

    Top top() const noexcept { return control_[0]; }

    /// A place for frames that are only tried: where a chunk cannot be had, no push comes past it from then on, and the
    /// push that comes to it when the stack is used anew fails in its place, once.
    Top trialTop() const noexcept { return Top(control_[0], true); }
    /// Asks for all that so many frames take, one by one as they would. False where a chunk cannot be had, as above.
    bool reserve(std::size_t frames) noexcept {
        Chunk* chunk = first_;
        for (std::size_t room = chunkFrames; room < frames; room += chunkFrames) {
            Chunk* const next = after(chunk);
            if (next == nullptr) {
                chunk->refused = true;
                return false;
            }
            chunk = next;
        }
        return true;
    }

private:
    static Chunk* link(Chunk* chunk, Chunk* previous) noexcept {
        chunk->previous = previous;
        chunk->next = nullptr;
        chunk->refused = false;
        return chunk;
    }
    /// The chunk behind another, which is asked for where there is none yet; null where it cannot be had.
    static Chunk* after(Chunk* chunk) noexcept {
        if (chunk->next == nullptr) {
            Chunk* const next = newArray<Chunk>(1);
            if (next != nullptr) chunk->next = link(next, chunk);
        }
        return chunk->next;
    }

    Array<Top> control_;
    Chunk* first_;
};

} // namespace orvi
