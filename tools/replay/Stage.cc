#include "Stage.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "FailingNew.h"

namespace orvcase {
namespace {

using orv::host::Owned;

std::size_t sampleSize(OrvDataType type) {
    switch (type) {
    case ORV_BIT:
    case ORV_BYTE:
        return 1;
    case ORV_SHORT:
        return sizeof(short);
    case ORV_FLOAT:
        return sizeof(float);
    }
    return 1;
}

/// Writes values as samples (or table entries: those of BIT are bytes) of the type.
void writeSamples(OrvDataType type, const double* values, std::size_t count, void* to) {
    const auto write = [&](auto* samples) {
        using T = std::remove_pointer_t<decltype(samples)>;
        for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<T>(values[i]);
    };
    switch (type) {
    case ORV_BIT:
    case ORV_BYTE:
        return write(static_cast<unsigned char*>(to));
    case ORV_SHORT:
        return write(static_cast<short*>(to));
    case ORV_FLOAT:
        return write(static_cast<float*>(to));
    }
}

/// The place of a root's sample: its first byte and, for BIT, the mask of its bit there.
struct Place {
    std::size_t byte;
    unsigned char mask;
};

Place placeOf(const Image& root, std::size_t column, std::size_t row, std::size_t band) {
    if (root.type == ORV_BIT) {
        const std::size_t bit = column + root.offset;
        return {band * root.planeStride() + row * root.rowStride() + bit / 8,
                static_cast<unsigned char>(0x80u >> (bit % 8))};
    }
    return {(row * root.rowStride() + column * root.samplesPerPixel() + band) * sampleSize(root.type), 0};
}

std::size_t extentOf(const Image& root) {
    return placeOf(root, root.width - 1, root.height - 1, root.bands - 1).byte + sampleSize(root.type);
}

double readSample(const Image& root, const unsigned char* bytes, Place place) {
    const auto read = [&](auto value) {
        std::memcpy(&value, bytes + place.byte, sizeof value);
        return static_cast<double>(value);
    };
    switch (root.type) {
    case ORV_BIT:
        return (bytes[place.byte] & place.mask) != 0 ? 1 : 0;
    case ORV_BYTE:
        return bytes[place.byte];
    case ORV_SHORT:
        return read(short{});
    case ORV_FLOAT:
        return read(float{});
    }
    return 0;
}

void writeSample(const Image& root, unsigned char* bytes, Place place, double value) {
    if (root.type != ORV_BIT) return writeSamples(root.type, &value, 1, bytes + place.byte);
    if (value != 0)
        bytes[place.byte] = static_cast<unsigned char>(bytes[place.byte] | place.mask);
    else
        bytes[place.byte] = static_cast<unsigned char>(bytes[place.byte] & ~place.mask);
}

template <class Visit>
void eachSample(const Image& image, Visit visit) {
    for (unsigned row = 0; row < image.height; ++row) {
        for (unsigned column = 0; column < image.width; ++column) {
            for (unsigned band = 0; band < image.bands; ++band) visit(column, row, band);
        }
    }
}

OrvMemoryStorage recordOf(const Image& root, unsigned char* data) {
    OrvMemoryStorage record{};
    const unsigned row = root.rowStride();
    const auto pixel = static_cast<std::uint16_t>(root.samplesPerPixel());
    switch (root.type) {
    case ORV_BIT:
        record.bit = {data, static_cast<std::uint16_t>(row), root.planeStride(),
                      static_cast<std::uint8_t>(root.offset)};
        break;
    case ORV_BYTE:
        record.byte = {data, row, pixel};
        break;
    case ORV_SHORT:
        record.shorts = {reinterpret_cast<std::int16_t*>(data), row, pixel};
        break;
    case ORV_FLOAT:
        record.floats = {reinterpret_cast<float*>(data), row, pixel};
        break;
    }
    return record;
}

template <class T>
std::vector<T> as(const Values& values) {
    std::vector<T> made(values.size());
    std::transform(values.begin(), values.end(), made.begin(), [](double v) { return static_cast<T>(v); });
    return made;
}

void need(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error(what);
}

} // namespace

Stage::Stage(const Case& c, orv::host::Session& session, Storage storage) : case_(c), session_(session) {
    makeImages(c, storage);
    makeTables(c);
    makeArrays(c, storage);
    for (const Slot& slot : c.slots) names_[slot.name] = {.pointer = &slots_[slot.name]};
}

void Stage::makeImages(const Case& c, Storage storage) {
    images_.reserve(c.images.size());
    for (const Image& declared : c.images) {
        StagedImage& made = images_.emplace_back();
        made.declared = &declared;
        if (declared.parent.empty())
            makeRoot(made, storage);
        else
            makeChild(made, c);
        need(made.object != nullptr, "image " + declared.name + " cannot be made");
        made.object->place(declared.originX, declared.originY);
        made.object->setInputOutput(declared.io);
        if (declared.roi) {
            std::vector<orv::host::Rect> rects;
            for (const Rect& r : *declared.roi) {
                rects.push_back({r.x, r.y, static_cast<unsigned>(r.width), static_cast<unsigned>(r.height)});
            }
            need(made.object->setRegion(rects), "no memory for a region");
        }
        names_[declared.name] = {.object = made.object.get()};
    }
}

void Stage::makeRoot(StagedImage& made, Storage storage) {
    const Image& declared = *made.declared;
    need(declared.data.empty() || declared.data.size() == declared.sampleCount(),
         "image " + declared.name + " has a wrong count of data");
    made.root = images_.size() - 1;
    unsigned char* bytes = made.memory.emplace(storage, extentOf(declared)).data();
    eachSample(declared, [&](unsigned column, unsigned row, unsigned band) {
        writeSample(declared, bytes, placeOf(declared, column, row, band), declared.at(column, row, band));
    });
    const SampleMemory& memory = *made.memory;
    made.before.assign(memory.data(), memory.data() + memory.size());
    made.object = orv::host::Image::wrap(session_, {declared.type, declared.width, declared.height, declared.bands},
                                         recordOf(declared, bytes));
}

void Stage::makeChild(StagedImage& made, const Case& c) {
    const Image& declared = *made.declared;
    const auto parent = std::find_if(images_.begin(), images_.end() - 1,
                                     [&](const StagedImage& i) { return i.declared->name == declared.parent; });
    need(parent != images_.end() - 1, "image " + declared.name + " comes before its parent in case " + c.name);
    made.root = parent->root;
    made.rootX = parent->rootX + declared.atX;
    made.rootY = parent->rootY + declared.atY;
    made.rootBand = parent->rootBand + declared.atBand;
    made.object = orv::host::Image::child(*parent->object, declared.atX, declared.atY, declared.atBand, declared.width,
                                          declared.height, declared.bands);
}

template <class T>
void Stage::keep(const std::string& name, Owned<T> object) {
    need(object != nullptr, name + " cannot be made");
    names_[name] = {.object = object.get()};
    objects_.emplace_back(object.release());
}

void Stage::makeTables(const Case& c) {
    for (const Lookup& each : c.lookups) makeLookup(each);
    for (const Kernel& each : c.kernels) {
        need(each.data.size() == std::size_t{each.width} * each.height, each.name + " has a wrong count of data");
        auto made = orv::host::Kernel::make(session_, each.width, each.height, each.keyX, each.keyY,
                                            as<float>(each.data).data(), each.label ? each.label->c_str() : nullptr);
        kernels_[each.name] = made.get();
        keep(each.name, std::move(made));
    }
    for (const Sel& each : c.sels) {
        need(each.data.size() == std::size_t{each.width} * each.height, each.name + " has a wrong count of data");
        auto made = orv::host::Sel::make(session_, each.width, each.height, each.keyX, each.keyY,
                                         as<unsigned>(each.data).data());
        sels_[each.name] = made.get();
        keep(each.name, std::move(made));
    }
    for (const Mask& each : c.masks) {
        need(each.data.size() == std::size_t{each.width} * each.height * each.bands,
             each.name + " has a wrong count of data");
        auto made =
            orv::host::DitherMask::make(session_, each.width, each.height, each.bands, as<float>(each.data).data());
        masks_[each.name] = made.get();
        keep(each.name, std::move(made));
    }
    for (const Interp& each : c.interps) {
        need(each.data.size() == std::size_t{each.size} * each.subsamples, each.name + " has a wrong count of data");
        auto made =
            orv::host::InterpolationTable::make(session_, each.size, each.subsamples, as<float>(each.data).data());
        interps_[each.name] = made.get();
        keep(each.name, std::move(made));
    }
    for (const Histogram& each : c.histograms) {
        auto made = orv::host::Histogram::make(session_, each.bins, each.low, each.high);
        need(made != nullptr, each.name + " cannot be made");
        need(each.data.empty() || each.data.size() == made->counters().size(),
             each.name + " has a wrong count of data");
        std::transform(each.data.begin(), each.data.end(), made->counters().begin(),
                       [](double v) { return static_cast<unsigned>(v); });
        histograms_[each.name] = made.get();
        keep(each.name, std::move(made));
    }
    for (const Colorspace& each : c.colorspaces) {
        keep(each.name, orv::host::Colorspace::make(session_, each.space.c_str()));
    }
}

void Stage::makeLookup(const Lookup& declared) {
    std::vector<std::vector<unsigned char>> bytes;
    std::vector<orv::host::LookupTable> tables;
    for (const Lookup::Table& table : declared.tables) {
        auto& block = bytes.emplace_back(table.data.size() * sampleSize(declared.out) + 1);
        writeSamples(declared.out, table.data.data(), table.data.size(), block.data());
        tables.push_back({block.data(), static_cast<unsigned>(table.data.size()), table.offset});
    }
    need(declared.combined || tables.size() == 1, "lookup " + declared.name + " has no table, or several");
    auto made = declared.combined ? orv::host::Lookup::makeCombined(session_, declared.in, declared.out, tables)
                                  : orv::host::Lookup::makeSingle(session_, declared.in, declared.out, declared.bands,
                                                                  tables[0].entries / declared.bands, tables[0].offset,
                                                                  tables[0].data);
    need(made != nullptr, "lookup " + declared.name + " cannot be made");
    if (declared.cube) {
        need(made->setCube(declared.cube->multipliers, declared.cube->dimensions, declared.cube->origin),
             "no memory for a cube");
    }
    lookups_[declared.name] = made.get();
    keep(declared.name, std::move(made));
}

void Stage::makeArrays(const Case& c, Storage storage) {
    const auto make = [&](const Array& declared, std::map<std::string, StagedArray>& into, auto sample) {
        using T = decltype(sample);
        const std::vector<T> values = as<T>(declared.data);
        StagedArray& made =
            into.emplace(declared.name, StagedArray{&declared, SampleMemory(storage, values.size() * sizeof(T))})
                .first->second;
        if (!values.empty()) std::memcpy(made.memory.data(), values.data(), made.memory.size());
        names_[declared.name] = {.pointer = made.memory.data()};
    };
    for (const Array& each : c.floats) make(each, floats_, float{});
    for (const Array& each : c.ulongs) make(each, ulongs_, std::uint32_t{});
}

const Stage::Named& Stage::named(const std::string& name) const {
    const auto found = names_.find(name);
    if (found == names_.end()) throw std::runtime_error("nothing is named " + name);
    return found->second;
}

StagedImage& Stage::image(const std::string& name) {
    const auto found =
        std::find_if(images_.begin(), images_.end(), [&](const StagedImage& i) { return i.declared->name == name; });
    if (found == images_.end()) throw std::runtime_error("no image " + name);
    return *found;
}

void Stage::apply(const SetContents& set) {
    const auto copy = [&](auto into) {
        need(into.size() == set.values.size(), set.name + " has another count of values");
        using T = typename decltype(into)::element_type;
        std::transform(set.values.begin(), set.values.end(), into.begin(), [](double v) { return static_cast<T>(v); });
    };
    const auto into = [&](auto& map) { return map.find(set.name); };
    if (const auto lookup = into(lookups_); lookup != lookups_.end()) {
        orv::host::Lookup& target = *lookup->second;
        need(target.sampleCount() == set.values.size(), set.name + " has another count of values");
        writeSamples(target.outputType(), set.values.data(), set.values.size(), target.data());
    } else if (const auto kernel = into(kernels_); kernel != kernels_.end())
        copy(kernel->second->values());
    else if (const auto sel = into(sels_); sel != sels_.end())
        copy(sel->second->values());
    else if (const auto mask = into(masks_); mask != masks_.end())
        copy(mask->second->values());
    else if (const auto interp = into(interps_); interp != interps_.end())
        copy(interp->second->values());
    else if (const auto reals = into(floats_); reals != floats_.end()) {
        SampleMemory& memory = reals->second.memory;
        copy(std::span(reinterpret_cast<float*>(memory.data()), memory.size() / sizeof(float)));
    } else if (const auto longs = into(ulongs_); longs != ulongs_.end()) {
        SampleMemory& memory = longs->second.memory;
        copy(std::span(reinterpret_cast<std::uint32_t*>(memory.data()), memory.size() / sizeof(std::uint32_t)));
    } else {
        throw std::runtime_error(set.name + " takes no new contents");
    }
    if (OrvObject* object = named(set.name).object) orv::host::renewVersion(*object);
}

void Stage::apply(const Touch& touch) {
    const auto image = std::find_if(images_.begin(), images_.end(),
                                    [&](const StagedImage& i) { return i.declared->name == touch.name; });
    if (image != images_.end()) return image->object->samplesChanged();
    if (OrvObject* object = named(touch.name).object) orv::host::renewVersion(*object);
}

void Stage::addParams(orv::host::Op& op, const std::vector<Param>& params) {
    for (const Param& param : params) {
        switch (param.kind) {
        case Param::Kind::null:
            op.addPointer(nullptr);
            break;
        case Param::Kind::real:
            op.addFloat(param.real);
            break;
        case Param::Kind::integer:
            op.addLong(param.integer);
            break;
        case Param::Kind::reference: {
            const Named& value = named(param.name);
            if (value.object)
                op.addObject(value.object);
            else
                op.addPointer(value.pointer);
            break;
        }
        }
    }
}

void Stage::setImages(orv::host::Op& op, const std::array<std::string, 3>& sources, const std::string& destination) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (!sources[i].empty()) op.setSource(static_cast<int>(i) + 1, image(sources[i]).object.get());
    }
    if (!destination.empty()) op.setDestination(image(destination).object.get());
}

void Stage::arm(const std::vector<Fault>& faults, std::vector<unsigned>& failingNews) {
    session_.faults().disarm();
    for (const Fault& fault : faults) {
        if (fault.point == FaultPoint::newMemory) {
            need(failingNew.installed, "this program cannot make operator new fail");
            failingNews.push_back(fault.nth);
            continue;
        }
        const OrvObject* target = fault.image.empty() ? nullptr : image(fault.image).object.get();
        session_.faults().arm({fault.point, target, fault.nth});
    }
}

orv::host::CallResult Stage::run(const Call& call) {
    if (op_)
        op_->reset(call.op.c_str());
    else
        op_ = orv::host::Op::make(session_, call.op.c_str());
    setImages(*op_, call.src, call.dst);
    addParams(*op_, call.params);
    op_->setOp1(nullptr);
    if (!call.op1.empty()) {
        const auto chain = std::find_if(case_.chains.begin(), case_.chains.end(),
                                        [&](const Chain& each) { return each.name == call.op1; });
        need(chain != case_.chains.end(), "no chain " + call.op1);
        earlier_ = orv::host::Op::make(session_, chain->op.c_str());
        setImages(*earlier_, chain->src, {});
        addParams(*earlier_, chain->params);
        op_->setOp1(earlier_.get());
    }
    for (StagedImage& each : images_) {
        each.object->forgetTouched();
        if (each.memory) std::memcpy(each.before.data(), each.memory->data(), each.before.size());
    }
    std::vector<unsigned> failingNews;
    arm(call.faults, failingNews);
    if (failingNews.empty()) return session_.run(*op_);
    const ArmedNew armed(session_.device()->handle(), std::move(failingNews));
    orv::host::CallResult result = session_.run(*op_);
    result.faultsMet += failingNew.met;
    return result;
}

double Stage::sample(const StagedImage& image, unsigned column, unsigned row, unsigned band) const {
    const StagedImage& root = images_[image.root];
    const Place place = placeOf(*root.declared, column + image.rootX, row + image.rootY, band + image.rootBand);
    return readSample(*root.declared, root.memory->data(), place);
}

double Stage::sample(const StagedImage& image, unsigned column, unsigned row, unsigned band,
                     const std::vector<unsigned char>& bytes) const {
    const Image& root = *images_[image.root].declared;
    return readSample(root, bytes.data(),
                      placeOf(root, column + image.rootX, row + image.rootY, band + image.rootBand));
}

std::vector<unsigned char> Stage::sampleBits(const StagedImage& root) const {
    std::vector<unsigned char> bits(root.before.size());
    const Image& declared = *root.declared;
    const std::size_t size = sampleSize(declared.type);
    eachSample(declared, [&](unsigned column, unsigned row, unsigned band) {
        const Place place = placeOf(declared, column, row, band);
        if (declared.type == ORV_BIT)
            bits[place.byte] = static_cast<unsigned char>(bits[place.byte] | place.mask);
        else
            std::fill_n(bits.begin() + static_cast<std::ptrdiff_t>(place.byte), size, static_cast<unsigned char>(0xFF));
    });
    return bits;
}

Values Stage::contents(const std::string& name) const {
    const auto from = [](auto span) { return Values(span.begin(), span.end()); };
    if (const auto kernel = kernels_.find(name); kernel != kernels_.end()) return from(kernel->second->values());
    if (const auto histogram = histograms_.find(name); histogram != histograms_.end()) {
        return from(histogram->second->counters());
    }
    if (const auto reals = floats_.find(name); reals != floats_.end()) {
        const SampleMemory& memory = reals->second.memory;
        return from(std::span(reinterpret_cast<const float*>(memory.data()), memory.size() / sizeof(float)));
    }
    if (const auto longs = ulongs_.find(name); longs != ulongs_.end()) {
        const SampleMemory& memory = longs->second.memory;
        return from(
            std::span(reinterpret_cast<const std::uint32_t*>(memory.data()), memory.size() / sizeof(std::uint32_t)));
    }
    throw std::runtime_error(name + " is no floats, ulongs, kernel or histogram");
}

std::string Stage::overrunArray() const {
    for (const auto* arrays : {&floats_, &ulongs_}) {
        for (const auto& [name, array] : *arrays) {
            if (!array.memory.marginsIntact()) return name;
        }
    }
    return {};
}

orv::host::Lookup* Stage::result(const std::string& slot) {
    const auto found = slots_.find(slot);
    if (found == slots_.end()) throw std::runtime_error("no slot " + slot);
    OrvLookup* lookup = found->second;
    if (lookup == nullptr) return nullptr;
    if (!results_.contains(lookup)) results_.emplace(lookup, orv::host::adopted(lookup));
    return static_cast<orv::host::Lookup*>(lookup);
}

} // namespace orvcase
