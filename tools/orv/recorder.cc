#include "recorder.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "orv/host/Image.h"
#include "orv/host/Region.h"
#include "orv/host/Tables.h"
#include "replay/CaseText.h"

namespace orv::tool {

namespace {

using orvcase::Case;
using orvcase::Values;

template <class T>
Values valuesOf(const T* from, std::size_t count) {
    return {from, from + count};
}

bool bitAt(const OrvMemoryStorage& storage, unsigned x, unsigned y, unsigned band) {
    const std::size_t bit = std::size_t{storage.bit.offset} + x;
    const std::size_t row = std::size_t{band} * storage.bit.band_stride + std::size_t{y} * storage.bit.scanline_stride;
    return (storage.bit.data[row + bit / 8] >> (7 - bit % 8) & 1) != 0;
}

/// Row by row, pixel by pixel, the bands of a pixel side by side.
template <class Sample>
Values gathered(const host::Shape& shape, const Sample& sample) {
    Values values;
    values.reserve(std::size_t{shape.width} * shape.height * shape.bands);
    for (unsigned y = 0; y < shape.height; ++y) {
        for (unsigned x = 0; x < shape.width; ++x) {
            for (unsigned band = 0; band < shape.bands; ++band) values.push_back(sample(x, y, band));
        }
    }
    return values;
}

Values samplesOf(const host::Image& image) {
    const OrvMemoryStorage& storage = *image.storage();
    const auto from = [](const auto& layout) {
        return [&layout](unsigned x, unsigned y, unsigned band) {
            const std::size_t row = std::size_t{y} * layout.scanline_stride;
            return static_cast<double>(layout.data[row + std::size_t{x} * layout.pixel_stride + band]);
        };
    };
    switch (image.shape().type) {
    case ORV_BIT:
        return gathered(image.shape(),
                        [&](unsigned x, unsigned y, unsigned b) { return bitAt(storage, x, y, b) ? 1.0 : 0.0; });
    case ORV_SHORT:
        return gathered(image.shape(), from(storage.shorts));
    default:
        return gathered(image.shape(), from(storage.byte));
    }
}

orvcase::Image imageOf(std::string name, const host::Image& image) {
    const host::Shape& shape = image.shape();
    const OrvMemoryStorage& storage = *image.storage();
    orvcase::Image made{.name = std::move(name), .type = shape.type};
    made.width = shape.width;
    made.height = shape.height;
    made.bands = shape.bands;
    if (shape.type == ORV_BIT) {
        made.stride = storage.bit.scanline_stride;
        made.bandStride = storage.bit.band_stride;
        made.offset = storage.bit.offset;
    } else {
        made.stride = storage.byte.scanline_stride;
        made.pixelStride = storage.byte.pixel_stride;
    }
    made.originX = image.originX();
    made.originY = image.originY();
    if (image.region() != nullptr) {
        made.roi.emplace();
        for (const host::Rect& r : host::rectsOf(image.region()))
            made.roi->push_back({r.x, r.y, static_cast<long>(r.width), static_cast<long>(r.height)});
    }
    made.data = samplesOf(image);
    return made;
}

/// Enters the images, objects and arrays of a call into a case, and gives back their names.
class Objects {
public:
    explicit Objects(Case& c) : case_(c) {}

    std::string image(const std::string& name, const host::Image& image) {
        const auto known = std::ranges::find(images_, &image, &std::pair<const host::Image*, std::string>::first);
        if (known != images_.end()) return known->second;
        if (image.storage() == nullptr) return {};
        case_.images.push_back(imageOf(name, image));
        images_.emplace_back(&image, name);
        return name;
    }

    orvcase::Param parameter(const host::WatchedParameter& given, const std::string& name) {
        return std::visit([&](const auto& value) { return add(value, name); }, given);
    }

private:
    using Param = orvcase::Param;

    Param add(float value, const std::string&) { return Param::f(value); }
    Param add(long value, const std::string&) { return Param::l(value); }
    Param add(std::span<const float> values, const std::string& name) {
        case_.floats.push_back({name, valuesOf(values.data(), values.size())});
        return Param::ref(name);
    }
    Param add(std::span<const std::uint32_t> values, const std::string& name) {
        case_.ulongs.push_back({name, valuesOf(values.data(), values.size())});
        return Param::ref(name);
    }
    Param add(OrvLookup** /*cell*/, const std::string& name) {
        case_.slots.push_back({name});
        return Param::ref(name);
    }
    Param add(OrvObject* object, const std::string& name) {
        if (auto* kernel = dynamic_cast<host::Kernel*>(object)) {
            const char* label = kernel->getName();
            const auto size = std::size_t{kernel->getWidth()} * kernel->getHeight();
            case_.kernels.push_back(
                {name, kernel->getWidth(), kernel->getHeight(), kernel->getKeyX(), kernel->getKeyY(),
                 label != nullptr && *label != '\0' ? std::optional<std::string>(label) : std::nullopt,
                 valuesOf(kernel->getValue(), size)});
        } else if (auto* sel = dynamic_cast<host::Sel*>(object)) {
            const auto size = std::size_t{sel->getWidth()} * sel->getHeight();
            case_.sels.push_back({name,
                                  sel->getWidth(),
                                  sel->getHeight(),
                                  sel->getKeyX(),
                                  sel->getKeyY(),
                                  {},
                                  valuesOf(sel->getValue(), size)});
        } else if (auto* mask = dynamic_cast<host::DitherMask*>(object)) {
            const auto size = std::size_t{mask->getWidth()} * mask->getHeight() * mask->getNBands();
            case_.masks.push_back(
                {name, mask->getWidth(), mask->getHeight(), mask->getNBands(), valuesOf(mask->getValue(), size)});
        } else if (auto* table = dynamic_cast<host::InterpolationTable*>(object)) {
            case_.interps.push_back({name, table->getKernelSize(), table->getSubsamples(),
                                     valuesOf(table->values().data(), table->values().size())});
        } else if (auto* space = dynamic_cast<host::Colorspace*>(object)) {
            case_.colorspaces.push_back({name, orvcase::colorspaceNames().at(space->getOpcode() - 1)});
        } else if (auto* histogram = dynamic_cast<host::Histogram*>(object)) {
            addHistogram(*histogram, name);
        } else if (auto* lookup = dynamic_cast<host::Lookup*>(object)) {
            addLookup(*lookup, name);
        }
        return Param::ref(name);
    }

    void addHistogram(host::Histogram& histogram, const std::string& name) {
        const unsigned bands = histogram.getNBands();
        orvcase::Histogram made{.name = name};
        made.bins.resize(bands);
        made.low.resize(bands);
        made.high.resize(bands);
        histogram.getNBins(made.bins.data());
        histogram.getLowValue(made.low.data());
        histogram.getHighValue(made.high.data());
        case_.histograms.push_back(std::move(made));
    }

    void addLookup(host::Lookup& lookup, const std::string& name) {
        orvcase::Lookup made{.name = name, .in = lookup.inputType(), .out = lookup.outputType()};
        made.combined = lookup.combined();
        made.bands = lookup.bands();
        const auto table = [&](const void* data, std::size_t samples, short offset) {
            made.tables.push_back({offset, lookup.outputType() == ORV_SHORT
                                               ? valuesOf(static_cast<const std::int16_t*>(data), samples)
                                               : valuesOf(static_cast<const std::uint8_t*>(data), samples)});
        };
        if (!made.combined) table(lookup.data(), lookup.sampleCount(), lookup.offset());
        for (unsigned b = 0; made.combined && b < lookup.bands(); ++b)
            table(lookup.getDataList()[b], lookup.getEntriesList()[b], lookup.getOffsetsList()[b]);
        if (lookup.getIsColorCube() != 0) {
            orvcase::ColorCube cube{std::vector<int>(lookup.bands()), std::vector<unsigned>(lookup.bands())};
            lookup.getColorCubeInfo(cube.multipliers.data(), cube.dimensions.data(), &cube.origin);
            made.cube = std::move(cube);
        }
        case_.lookups.push_back(std::move(made));
    }

    Case& case_;
    std::vector<std::pair<const host::Image*, std::string>> images_;
};

template <class Made>
void describe(Objects& objects, const host::WatchedCall& call, const std::string& prefix, Made& made) {
    made.op = call.op;
    for (std::size_t i = 0; i < call.sources.size() && i < made.src.size(); ++i)
        made.src[i] = objects.image(fmt::format("{}src{}", prefix, i + 1), *call.sources[i]);
    for (std::size_t i = 0; i < call.parameters.size(); ++i)
        made.params.push_back(objects.parameter(call.parameters[i], fmt::format("{}p{}", prefix, i + 1)));
}

orvcase::ExpectedValues expected(const Values& values) { return {values.begin(), values.end()}; }

orvcase::ExpectedLookup lookupIn(const std::string& slot, OrvLookup* made) {
    orvcase::ExpectedLookup result{.slot = slot, .null = made == nullptr};
    const auto* lookup = dynamic_cast<const host::Lookup*>(made);
    if (lookup == nullptr) return result;
    result.in = lookup->inputType();
    result.out = lookup->outputType();
    result.bands = lookup->bands();
    result.offset = lookup->offset();
    result.entries = lookup->entries();
    const Values samples = result.out == ORV_SHORT
                               ? valuesOf(static_cast<const std::int16_t*>(lookup->data()), lookup->sampleCount())
                               : valuesOf(static_cast<const std::uint8_t*>(lookup->data()), lookup->sampleCount());
    result.values = expected(samples);
    return result;
}

/// What a call measured into one of its parameters.
void expectResult(orvcase::Expectations& expect, const host::WatchedParameter& given, const orvcase::Param& param) {
    if (const auto* numbers = std::get_if<std::span<const float>>(&given))
        expect.now.push_back({param.name, expected(valuesOf(numbers->data(), numbers->size()))});
    if (const auto* cell = std::get_if<OrvLookup**>(&given)) expect.results.push_back(lookupIn(param.name, **cell));
    if (const auto* object = std::get_if<OrvObject*>(&given)) {
        auto* histogram = dynamic_cast<host::Histogram*>(*object);
        if (histogram == nullptr) return;
        const auto counters = histogram->counters();
        expect.now.push_back({param.name, expected(valuesOf(counters.data(), counters.size()))});
    }
}

} // namespace

void Recorder::before(const host::WatchedCall& call) {
    current_ = {.name = fmt::format("call{}_{}", ++count_, call.op)};
    Objects objects(current_);
    orvcase::Call made;
    if (call.earlier != nullptr) {
        orvcase::Chain chain;
        chain.name = "earlier";
        describe(objects, *call.earlier, "earlier_", chain);
        current_.chains.push_back(std::move(chain));
        made.op1 = "earlier";
    }
    describe(objects, call, "", made);
    if (call.destination != nullptr) made.dst = objects.image("dst", *call.destination);
    current_.addCall(std::move(made));
}

void Recorder::after(const host::WatchedCall& call, OrvStatus status, const std::vector<host::Report>& reports) {
    auto& made = std::get<orvcase::Call>(current_.steps.back());
    orvcase::Expectations& expect = made.expect;
    expect.status = status;
    for (const host::Report& r : reports)
        expect.errors.push_back({r.id, static_cast<int>(r.category), r.primary, r.line, r.file});
    if (call.destination != nullptr)
        expect.out.push_back({.image = made.dst, .values = expected(samplesOf(*call.destination))});
    for (std::size_t i = 0; i < call.parameters.size(); ++i) expectResult(expect, call.parameters[i], made.params[i]);
    text_ += orvcase::writeCase(current_) + '\n';
}

void Recorder::write() {
    if (count_ == 0) return;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(file_.c_str(), "wb"), std::fclose);
    const bool written = file != nullptr && std::fwrite(text_.data(), 1, text_.size(), file.get()) == text_.size();
    if (!written || std::fflush(file.get()) != 0) throw Error("write", fmt::format("cannot write {}", file_));
}

} // namespace orv::tool
