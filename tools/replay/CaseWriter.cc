// Writes cases as text.
#include "CaseText.h"

#include "FaultNames.h"
#include "Numbers.h"

namespace orvcase {
namespace {

std::string number(double value, bool real) {
    return real ? formatFloat(static_cast<float>(value)) : std::to_string(static_cast<long long>(value));
}

std::string number(const std::optional<double>& value, bool real) { return value ? number(*value, real) : "*"; }

/// The items as formatted, with the separator between them.
template <class List, class Format>
std::string joined(const List& items, const char* separator, Format format) {
    std::string line;
    for (const auto& each : items) {
        if (!line.empty()) line += separator;
        line += format(each);
    }
    return line;
}

class Writer {
public:
    std::string write(const Case& c) {
        add("case", c.name, c.fresh ? "fresh" : "");
        objects(c);
        for (const Step& step : c.steps) {
            std::visit([&](const auto& each) { write(c, each); }, step);
        }
        return std::move(text_);
    }

private:
    static std::string text(const std::string& value) { return value; }
    static std::string text(const char* value) { return value; }
    template <class T>
    static std::string text(T value) {
        return std::to_string(value);
    }

    template <class... Words>
    void add(const Words&... words) {
        std::string line;
        const auto word = [&line](const std::string& each) {
            if (each.empty()) return;
            if (!line.empty()) line += ' ';
            line += each;
        };
        (word(text(words)), ...);
        text_ += line + '\n';
    }

    /// `data` lines of `perLine` values each, so that pictures look like pictures.
    template <class List>
    void data(const List& values, std::size_t perLine, bool real) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            text_ += i % perLine == 0 ? "data " : " ";
            text_ += number(values[i], real);
            if (i % perLine == perLine - 1 || i + 1 == values.size()) text_ += '\n';
        }
    }

    template <class List>
    static std::string inLine(const List& values, bool real) {
        return joined(values, " ", [real](const auto& value) { return number(value, real); });
    }

    static std::string region(const Region& rects) {
        if (rects.empty()) return "empty";
        return joined(rects, ";", [](const Rect& r) {
            return joined(std::array{r.x, r.y, r.width, r.height}, ",",
                          [](long value) { return std::to_string(value); });
        });
    }

    static std::string key(const char* name, const std::optional<unsigned>& value) {
        return value ? name + std::to_string(*value) : "";
    }

    void objects(const Case& c) {
        for (const Image& each : c.images) image(each);
        for (const Lookup& each : c.lookups) lookup(each);
        for (const Kernel& each : c.kernels) kernel("kernel", each, true);
        for (const Sel& each : c.sels) kernel("sel", each, false);
        for (const Mask& each : c.masks) {
            add("mask", each.name, each.width, each.height, each.bands);
            data(each.data, each.width, true);
        }
        for (const Interp& each : c.interps) {
            add("interp", each.name, each.size, each.subsamples);
            data(each.data, each.size, true);
        }
        for (const Histogram& each : c.histograms) histogram(each);
        for (const Colorspace& each : c.colorspaces) add("colorspace", each.name, each.space);
        for (const Array& each : c.floats) add("floats", each.name, inLine(each.data, true));
        for (const Array& each : c.ulongs) add("ulongs", each.name, inLine(each.data, false));
        for (const Slot& each : c.slots) add("slot", each.name);
        for (const Chain& each : c.chains) add("chain", each.name, each.op, sources(each.src), params(each.params));
    }

    void image(const Image& i) {
        std::string place;
        if (!i.parent.empty()) {
            place = "parent=" + i.parent + " at=" + std::to_string(i.atX) + ',' + std::to_string(i.atY) + ',' +
                    std::to_string(i.atBand);
        }
        std::string origin;
        if (i.originX != 0 || i.originY != 0)
            origin = "origin=" + formatFloat(i.originX) + ',' + formatFloat(i.originY);
        const std::string offset = i.offset != 0 ? "offset=" + std::to_string(i.offset) : "";
        add("image", i.name, typeName(i.type), i.width, i.height, i.bands, place, key("stride=", i.stride),
            key("pixel=", i.pixelStride), key("band=", i.bandStride), offset, origin,
            i.roi ? "roi=" + region(*i.roi) : "", i.io ? "io" : "");
        if (!i.parent.empty()) return;
        const bool real = i.type == ORV_FLOAT;
        if (i.data.empty())
            add("fill", number(i.fill, real));
        else
            data(i.data, std::size_t{i.width} * i.bands, real);
    }

    void lookup(const Lookup& l) {
        const bool real = l.out == ORV_FLOAT;
        if (l.combined) {
            add("lookup", l.name, typeName(l.in), typeName(l.out), "combined");
            for (const Lookup::Table& table : l.tables) add("table", table.offset, inLine(table.data, real));
            return;
        }
        const Lookup::Table& table = l.tables.at(0);
        std::string cube;
        if (l.cube) {
            const auto plain = [](auto value) { return std::to_string(value); };
            cube = "cube=" + joined(l.cube->multipliers, ",", plain) + ':' + joined(l.cube->dimensions, ",", plain) +
                   ':' + std::to_string(l.cube->origin);
        }
        add("lookup", l.name, typeName(l.in), typeName(l.out), l.bands, table.offset, cube);
        data(table.data, std::size_t{l.bands} * 16, real);
    }

    void kernel(const char* word, const Kernel& k, bool real) {
        add(word, k.name, k.width, k.height, k.keyX, k.keyY, k.label ? "name=" + *k.label : "");
        data(k.data, k.width, real);
    }

    void histogram(const Histogram& h) {
        add("histogram", h.name, "bins=" + joined(h.bins, ",", [](unsigned value) { return std::to_string(value); }),
            "low=" + joined(h.low, ",", formatFloat), "high=" + joined(h.high, ",", formatFloat));
        data(h.data, h.bins.back(), false);
    }

    static std::string sources(const std::array<std::string, 3>& src) {
        std::size_t count = src.size();
        while (count > 0 && src[count - 1].empty()) --count;
        if (count == 0) return {};
        const std::vector<std::string> given(src.begin(), src.begin() + static_cast<std::ptrdiff_t>(count));
        return "src=" + joined(given, ",", [](const std::string& name) { return name.empty() ? "-" : name; });
    }

    static std::string params(const std::vector<Param>& all) {
        if (all.empty()) return {};
        return ": " + joined(all, " ", param);
    }

    static std::string param(const Param& p) {
        switch (p.kind) {
        case Param::Kind::null:
            break;
        case Param::Kind::real:
            return "f=" + formatFloat(p.real);
        case Param::Kind::integer:
            return "l=" + std::to_string(p.integer);
        case Param::Kind::reference:
            return '@' + p.name;
        }
        return "null";
    }

    void write(const Case& c, const SetContents& set) {
        bool real = true;
        for (const Lookup& each : c.lookups) real = real && (each.name != set.name || each.out == ORV_FLOAT);
        for (const Sel& each : c.sels) real = real && each.name != set.name;
        for (const Array& each : c.ulongs) real = real && each.name != set.name;
        add("set", set.name, inLine(set.values, real));
    }

    void write(const Case&, const Touch& touch) { add("touch", touch.name); }

    void write(const Case& c, const Call& call) {
        for (const Fault& fault : call.faults) {
            const FaultName& point = nameOf(fault.point);
            add("fail", point.name, fault.image, point.counted && fault.nth != 1 ? std::to_string(fault.nth) : "",
                point.counted && fault.nth == 1 && !point.image ? "1" : "");
        }
        add("call", call.op, sources(call.src), call.dst.empty() ? "" : "dst=" + call.dst,
            call.op1.empty() ? "" : "op1=" + call.op1, params(call.params));
        expectations(c, call.expect);
    }

    template <class T>
    static std::string orAny(const std::optional<T>& value) {
        return value ? text(*value) : "*";
    }

    void expectations(const Case& c, const Expectations& e) {
        if (e.status != 0) add("status", orAny(e.status));
        for (const ExpectedError& each : e.errors) {
            if (each.line || each.file) {
                add("error", each.id, orAny(each.category), orAny(each.primary), orAny(each.line), orAny(each.file));
            } else {
                add("error", each.id, orAny(each.category), orAny(each.primary));
            }
        }
        for (const ExpectedImage& each : e.out) out(c, each);
        for (const ExpectedTouch& each : e.touched) {
            add("touched", each.image, each.region ? region(*each.region) : "none");
        }
        for (const ExpectedContents& each : e.now) now(c, each);
        for (const ExpectedLookup& each : e.results) result(each);
        if (e.live.lists || e.live.rois || e.live.images) {
            add("live", key("lists=", e.live.lists), key("rois=", e.live.rois), key("images=", e.live.images));
        }
    }

    void out(const Case& c, const ExpectedImage& e) {
        const Image& i = c.image(e.image);
        const bool real = i.type == ORV_FLOAT;
        add("out", e.image, e.within != 0 ? "within=" + formatFloat(static_cast<float>(e.within)) : "");
        if (e.values.empty())
            add("fill", number(e.fill, real));
        else
            data(e.values, std::size_t{i.width} * i.bands, real);
    }

    void now(const Case& c, const ExpectedContents& e) {
        bool real = true;
        for (const Array& each : c.ulongs) real = real && each.name != e.name;
        for (const Histogram& each : c.histograms) real = real && each.name != e.name;
        add("now", e.name, inLine(e.values, real));
    }

    void result(const ExpectedLookup& e) {
        if (e.null) return add("result", e.slot, "null");
        add("result", e.slot, typeName(e.in), typeName(e.out), e.bands, e.offset, e.entries);
        data(e.values, std::size_t{e.bands} * 16, e.out == ORV_FLOAT);
    }

    std::string text_;
};

} // namespace

std::string writeCase(const Case& c) { return Writer().write(c); }

} // namespace orvcase
