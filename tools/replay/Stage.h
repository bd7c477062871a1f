// The objects of a case, made real: host objects over memory that is watched.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Case.h"
#include "SampleMemory.h"
#include "orv/host/host.h"

namespace orvcase {

/// An image of a case. Samples are reached through the root, the image without a parent that holds them.
struct StagedImage {
    const Image* declared = nullptr;
    orv::host::Owned<orv::host::Image> object = {};
    std::size_t root = 0; ///< its place among the images
    unsigned rootX = 0;
    unsigned rootY = 0;
    unsigned rootBand = 0;
    /// Roots alone: their storage, and what it held before the running call.
    std::optional<SampleMemory> memory = {};
    std::vector<unsigned char> before = {};
};

class Stage {
public:
    /// Throws std::runtime_error (or std::bad_alloc) for a case that cannot be made.
    Stage(const Case& c, orv::host::Session& session, Storage storage);

    void apply(const SetContents& set);
    void apply(const Touch& touch);

    /// Runs the op with its faults and keeps what every image held before. Throws orv::host::DispatchError.
    orv::host::CallResult run(const Call& call);

    orv::host::Session& session() { return session_; }
    const std::vector<StagedImage>& images() const { return images_; }
    StagedImage& image(const std::string& name);

    /// A sample of an image's storage as it is, or as `bytes` (a copy of its root's storage) has it.
    double sample(const StagedImage& image, unsigned column, unsigned row, unsigned band) const;
    double sample(const StagedImage& image, unsigned column, unsigned row, unsigned band,
                  const std::vector<unsigned char>& bytes) const;

    /// The bits of a root's storage that hold samples.
    std::vector<unsigned char> sampleBits(const StagedImage& root) const;

    /// What a floats, ulongs, kernel or histogram holds.
    Values contents(const std::string& name) const;
    /// The name of the first array whose surroundings were written, or nothing.
    std::string overrunArray() const;

    /// The lookup that an op has left in a slot, or null. It lives as long as the stage.
    orv::host::Lookup* result(const std::string& slot);

private:
    struct Named {
        OrvObject* object = nullptr;
        void* pointer = nullptr;
    };
    struct StagedArray {
        const Array* declared;
        SampleMemory memory;
    };

    void makeImages(const Case& c, Storage storage);
    void makeRoot(StagedImage& made, Storage storage);
    void makeChild(StagedImage& made, const Case& c);
    void makeTables(const Case& c);
    void makeLookup(const Lookup& declared);
    void makeArrays(const Case& c, Storage storage);
    template <class T>
    void keep(const std::string& name, orv::host::Owned<T> object);
    const Named& named(const std::string& name) const;
    void addParams(orv::host::Op& op, const std::vector<Param>& params);
    void setImages(orv::host::Op& op, const std::array<std::string, 3>& sources, const std::string& destination);
    void arm(const std::vector<Fault>& faults, std::vector<unsigned>& failingNews);

    const Case& case_;
    orv::host::Session& session_;
    std::vector<StagedImage> images_;
    std::vector<orv::host::Owned<OrvObject>> objects_;
    std::map<std::string, Named> names_;
    std::map<std::string, orv::host::Lookup*> lookups_;
    std::map<std::string, orv::host::Kernel*> kernels_;
    std::map<std::string, orv::host::Sel*> sels_;
    std::map<std::string, orv::host::DitherMask*> masks_;
    std::map<std::string, orv::host::InterpolationTable*> interps_;
    std::map<std::string, orv::host::Histogram*> histograms_;
    std::map<std::string, StagedArray> floats_;
    std::map<std::string, StagedArray> ulongs_;
    std::map<std::string, OrvLookup*> slots_;
    std::map<OrvLookup*, orv::host::Owned<OrvLookup>> results_;
    orv::host::Owned<orv::host::Op> op_;
    orv::host::Owned<orv::host::Op> earlier_;
};

} // namespace orvcase
