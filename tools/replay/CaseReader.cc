// Reads case files.
#include "CaseText.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <set>

#include "FaultNames.h"
#include "Numbers.h"

namespace orvcase {
namespace {

constexpr std::int64_t maxInt32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t minInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t maxUnsigned = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t maxShort = std::numeric_limits<std::int16_t>::max();
constexpr std::int64_t minShort = std::numeric_limits<std::int16_t>::min();

/// More than any case needs, and little enough that counts of samples and bytes never overflow.
constexpr std::uint64_t maxCount = std::uint64_t{1} << 31;

/// What a `data` value may be.
enum class Number { bit, byte, shorts, real, counter };

Number numberOf(OrvDataType type) {
    switch (type) {
    case ORV_BIT:
        return Number::bit;
    case ORV_BYTE:
        return Number::byte;
    case ORV_SHORT:
        return Number::shorts;
    case ORV_FLOAT:
        return Number::real;
    }
    return Number::real;
}

/// Entries of a lookup: those of BIT are bytes.
Number entryOf(OrvDataType type) { return type == ORV_BIT ? Number::byte : numberOf(type); }

std::optional<double> parseNumber(Number kind, std::string_view token) {
    const auto integer = [&](std::int64_t low, std::int64_t high) -> std::optional<double> {
        const auto value = parseInteger(token, low, high);
        return value ? std::optional<double>(static_cast<double>(*value)) : std::nullopt;
    };
    switch (kind) {
    case Number::bit:
        return integer(0, 1);
    case Number::byte:
        return integer(0, 255);
    case Number::shorts:
        return integer(minShort, maxShort);
    case Number::counter:
        return integer(0, maxUnsigned);
    case Number::real:
        break;
    }
    const auto value = parseFloat(token);
    return value ? std::optional<double>(*value) : std::nullopt;
}

bool isName(std::string_view token) {
    const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (token.empty() || !letter(token[0])) return false;
    return std::all_of(token.begin(), token.end(), [&](char c) { return letter(c) || digit(c); });
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t from = 0;;) {
        const std::size_t end = text.find(separator, from);
        parts.push_back(text.substr(from, end - from));
        if (end == std::string_view::npos) return parts;
        from = end + 1;
    }
}

/// What a name of the case stands for, and what its values are.
struct Known {
    enum class Kind { image, lookup, kernel, sel, mask, interp, histogram, colorspace, floats, ulongs, slot };
    Kind kind;
    std::size_t index;
};
using Kind = Known::Kind;

/// Where the values of the following `data` lines go.
struct Sink {
    Values* values = nullptr;
    ExpectedValues* expected = nullptr;
    double* fill = nullptr;
    std::optional<double>* expectedFill = nullptr;
    Number number = Number::real;
    std::optional<std::size_t> wanted = {}; ///< no value: as many as come
    unsigned multiple = 1;
    bool optional = false;
    bool filled = false;
    int line = 0;
    std::string what = {};
};

class Reader {
public:
    Reader(std::string_view text, const std::string& file) : text_(text), file_(file) {}

    std::vector<Case> read() {
        while (nextLine()) {
            if (!tokens_.empty()) statement();
        }
        endCase();
        return std::move(cases_);
    }

private:
    using Handler = void (Reader::*)();

    // ---- text

    [[noreturn]] void failAt(int line, const std::string& message) const {
        throw ReadError(file_ + ":" + std::to_string(line) + ": " + message);
    }
    [[noreturn]] void fail(const std::string& message) const { failAt(line_, message); }

    static std::string quoted(std::string_view token) {
        std::string shown;
        for (const char c : token.substr(0, 40)) shown += (c >= ' ' && c <= '~') ? c : '?';
        return "'" + shown + "'";
    }

    bool nextLine() {
        if (at_ >= text_.size()) return false;
        std::size_t end = text_.find('\n', at_);
        if (end == std::string_view::npos) end = text_.size();
        std::string_view line = text_.substr(at_, end - at_);
        at_ = end + 1;
        ++line_;
        line = line.substr(0, line.find('#'));
        tokens_.clear();
        next_ = 0;
        constexpr std::string_view blanks = " \t\r\v\f";
        for (std::size_t from = line.find_first_not_of(blanks); from != std::string_view::npos;) {
            const std::size_t stop = std::min(line.find_first_of(blanks, from), line.size());
            tokens_.push_back(line.substr(from, stop - from));
            from = line.find_first_not_of(blanks, stop);
        }
        return true;
    }

    bool more() const { return next_ < tokens_.size(); }

    std::string_view token(const char* what) {
        if (!more()) fail(std::string("missing ") + what);
        return tokens_[next_++];
    }

    void end() const {
        if (more()) fail("unexpected " + quoted(tokens_[next_]));
    }

    std::string name(const char* what) {
        const std::string_view text = token(what);
        if (!isName(text)) fail(quoted(text) + " is no name");
        return std::string(text);
    }

    std::int64_t integerFrom(std::string_view text, const char* what, std::int64_t low, std::int64_t high) const {
        const auto value = parseInteger(text, low, high);
        if (!value) {
            fail(quoted(text) + " is no " + what + " (an integer from " + std::to_string(low) + " to " +
                 std::to_string(high) + ")");
        }
        return *value;
    }
    unsigned unsignedFrom(std::string_view text, const char* what, std::int64_t low = 0,
                          std::int64_t high = maxUnsigned) const {
        return static_cast<unsigned>(integerFrom(text, what, low, high));
    }
    unsigned unsignedToken(const char* what, std::int64_t low = 0, std::int64_t high = maxUnsigned) {
        return unsignedFrom(token(what), what, low, high);
    }
    short shortFrom(std::string_view text, const char* what) const {
        return static_cast<short>(integerFrom(text, what, minShort, maxShort));
    }
    float floatFrom(std::string_view text, const char* what) const {
        const auto value = parseFloat(text);
        if (!value) fail(quoted(text) + " is no " + what);
        return *value;
    }

    OrvDataType typeToken() {
        const std::string_view text = token("data type");
        for (const OrvDataType type : {ORV_BIT, ORV_BYTE, ORV_SHORT, ORV_FLOAT}) {
            if (text == typeName(type)) return type;
        }
        fail(quoted(text) + " is no data type");
    }

    Region regionFrom(std::string_view text) const {
        Region region;
        if (text == "empty") return region;
        for (const std::string_view rect : split(text, ';')) {
            const auto fields = split(rect, ',');
            if (fields.size() != 4) fail(quoted(rect) + " is no rectangle X,Y,W,H");
            region.push_back({.x = integerFrom(fields[0], "column", minInt32, maxInt32),
                              .y = integerFrom(fields[1], "row", minInt32, maxInt32),
                              .width = integerFrom(fields[2], "width", 0, maxUnsigned),
                              .height = integerFrom(fields[3], "height", 0, maxUnsigned)});
        }
        return region;
    }

    /// The words after the fixed ones of a statement, up to its end or a colon: `key=value`, or `key` alone.
    std::map<std::string, std::string_view, std::less<>> keys(std::initializer_list<const char*> known) {
        std::map<std::string, std::string_view, std::less<>> found;
        while (more() && tokens_[next_] != ":") {
            const std::string_view word = tokens_[next_++];
            const std::size_t equals = word.find('=');
            const std::string key(word.substr(0, equals));
            if (std::find(known.begin(), known.end(), key) == known.end()) fail("unknown word " + quoted(word));
            const auto value = equals == std::string_view::npos ? std::string_view{} : word.substr(equals + 1);
            if (!found.emplace(key, value).second) fail("'" + key + "' is given twice");
        }
        return found;
    }

    // ---- names

    Case& current() {
        if (cases_.empty()) fail("a case must come first");
        return cases_.back();
    }

    Call& lastCall() {
        current();
        if (!call_) fail("no call stands before this");
        return std::get<Call>(cases_.back().steps[*call_]);
    }

    template <class T>
    T& declare(std::vector<T>& list, Kind kind, T object) {
        if (!names_.emplace(object.name, Known{kind, list.size()}).second)
            fail("the name " + object.name + " is taken");
        list.push_back(std::move(object));
        return list.back();
    }

    const Known& known(const std::string& which) const {
        const auto found = names_.find(which);
        if (found == names_.end()) fail("nothing is named " + quoted(which));
        return found->second;
    }
    const Known& knownAs(const std::string& which, Kind kind, const char* what) const {
        const Known& object = known(which);
        if (object.kind != kind) fail(which + " is no " + what);
        return object;
    }
    const Image& imageNamed(const std::string& which) {
        return current().images[knownAs(which, Kind::image, "image").index];
    }

    // ---- data

    void closeSink() {
        if (!sink_) return;
        const Sink sink = *sink_;
        sink_.reset();
        if (sink.filled) return;
        const std::size_t got = sink.values ? sink.values->size() : sink.expected->size();
        if (got == 0 && sink.optional) return;
        if (sink.wanted && got != *sink.wanted) {
            failAt(sink.line,
                   sink.what + " needs " + std::to_string(*sink.wanted) + " values, has " + std::to_string(got));
        }
        if (got % sink.multiple != 0) {
            failAt(sink.line, sink.what + " has " + std::to_string(got) + " values, no multiple of " +
                                  std::to_string(sink.multiple));
        }
    }

    Sink& open(Sink sink) {
        sink.line = line_;
        return sink_.emplace(std::move(sink));
    }

    std::optional<double> value(const Sink& sink, std::string_view text) const {
        if (sink.expected != nullptr && text == "*") return std::nullopt;
        const auto number = parseNumber(sink.number, text);
        if (!number) fail(quoted(text) + " is no value of " + sink.what);
        return number;
    }

    /// Takes the rest of the line into the open sink.
    void takeValues() {
        Sink& sink = *sink_;
        if (sink.filled) fail(sink.what + " is filled already");
        const std::size_t have = sink.values ? sink.values->size() : sink.expected->size();
        if (sink.wanted && have + (tokens_.size() - next_) > *sink.wanted) {
            fail(sink.what + " needs " + std::to_string(*sink.wanted) + " values, has more");
        }
        while (more()) {
            const auto number = value(sink, tokens_[next_++]);
            if (sink.values)
                sink.values->push_back(*number);
            else
                sink.expected->push_back(number);
        }
    }

    void data() {
        if (!sink_) fail("nothing before this takes data");
        takeValues();
    }

    void fill() {
        if (!sink_ || (!sink_->fill && !sink_->expectedFill)) fail("nothing before this can be filled");
        Sink& sink = *sink_;
        if (sink.filled || (sink.values ? !sink.values->empty() : !sink.expected->empty())) {
            fail(sink.what + " has its values already");
        }
        const auto number = value(sink, token("value"));
        end();
        if (sink.fill)
            *sink.fill = *number;
        else
            *sink.expectedFill = number;
        sink.filled = true;
    }

    // ---- objects

    void beginCase() {
        endCase();
        Case made{.name = std::string(token("name")), .file = file_, .line = line_};
        if (more()) {
            if (token("") != "fresh") fail("unexpected " + quoted(tokens_[next_ - 1]));
            made.fresh = true;
        }
        end();
        cases_.push_back(std::move(made));
    }

    void endCase() {
        closeSink();
        if (!faults_.empty()) fail("no call follows the fault");
        names_.clear();
        chains_.clear();
        call_.reset();
    }

    void image() {
        Case& c = current();
        Image made{.name = name("name"), .type = typeToken()};
        made.width = unsignedToken("width", 1, maxInt32);
        made.height = unsignedToken("height", 1, maxInt32);
        made.bands = unsignedToken("band count", 1, maxInt32);
        const auto found = keys({"stride", "pixel", "band", "offset", "origin", "roi", "parent", "at", "io"});
        end();
        const auto has = [&](const char* key) { return found.contains(key); };
        const auto get = [&](const char* key) { return found.at(key); };
        const bool bit = made.type == ORV_BIT;
        if (has(bit ? "pixel" : "band") || (!bit && has("offset"))) fail("a stride of another data type");
        if (has("stride")) made.stride = unsignedFrom(get("stride"), "stride", 0, bit ? 65535 : maxUnsigned);
        if (has("pixel")) made.pixelStride = unsignedFrom(get("pixel"), "pixel stride", 0, 65535);
        if (has("band")) made.bandStride = unsignedFrom(get("band"), "band stride");
        if (has("offset")) made.offset = unsignedFrom(get("offset"), "bit offset", 0, 7);
        if (has("origin")) setOrigin(made, get("origin"));
        if (has("roi")) made.roi = regionFrom(get("roi"));
        if (has("io") && !get("io").empty()) fail("io takes no value");
        made.io = has("io");
        if (has("at") && !has("parent")) fail("'at' needs a parent");
        if (has("parent"))
            setParent(made, std::string(get("parent")), has("at") ? get("at") : "0,0,0");
        else
            checkSize(made);
        Image& kept = declare(c.images, Kind::image, std::move(made));
        if (!kept.parent.empty()) return;
        open({.values = &kept.data,
              .fill = &kept.fill,
              .number = numberOf(kept.type),
              .wanted = kept.sampleCount(),
              .optional = true,
              .what = "image " + kept.name});
    }

    void setOrigin(Image& made, std::string_view text) const {
        const auto fields = split(text, ',');
        if (fields.size() != 2) fail(quoted(text) + " is no origin X,Y");
        made.originX = floatFrom(fields[0], "origin");
        made.originY = floatFrom(fields[1], "origin");
    }

    void setParent(Image& made, const std::string& parentName, std::string_view at) {
        if (made.stride || made.pixelStride || made.bandStride || made.offset != 0) {
            fail("a child has the strides of its parent");
        }
        const Image& parent = imageNamed(parentName);
        const auto fields = split(at, ',');
        if (fields.size() != 3) fail(quoted(at) + " is no place X,Y,B");
        made.parent = parentName;
        made.atX = unsignedFrom(fields[0], "column");
        made.atY = unsignedFrom(fields[1], "row");
        made.atBand = unsignedFrom(fields[2], "band");
        if (parent.type != made.type) fail("a child has the data type of its parent");
        const auto inside = [](unsigned from, unsigned size, unsigned whole) {
            return std::uint64_t{from} + size <= whole;
        };
        if (!inside(made.atX, made.width, parent.width) || !inside(made.atY, made.height, parent.height) ||
            !inside(made.atBand, made.bands, parent.bands)) {
            fail("the child does not lie within its parent");
        }
    }

    void checkSize(const Image& made) const {
        const auto product = [&](std::uint64_t a, std::uint64_t b) {
            if (b != 0 && a > maxCount / b) fail("image " + made.name + " is too large");
            return a * b;
        };
        product(product(made.width, made.height), made.bands);
        if (made.type == ORV_BIT) {
            const std::uint64_t row = made.stride.value_or((made.width + made.offset + 7) / 8);
            if (row > 65535) fail("image " + made.name + " is too wide");
            product(made.bandStride.value_or(static_cast<unsigned>(product(row, made.height))), made.bands);
        } else {
            const std::uint64_t pixel = made.pixelStride.value_or(made.bands);
            if (pixel > 65535) fail("image " + made.name + " has too many bands");
            product(made.stride.value_or(static_cast<unsigned>(product(pixel, made.width))), made.height);
        }
    }

    void lookup() {
        Case& c = current();
        Lookup made{.name = name("name"), .in = typeToken(), .out = typeToken()};
        if (more() && tokens_[next_] == "combined") {
            ++next_;
            end();
            made.combined = true;
            declare(c.lookups, Kind::lookup, std::move(made));
            return;
        }
        made.bands = unsignedToken("band count", 1, maxInt32);
        made.tables.push_back({.offset = shortFrom(token("offset"), "offset"), .data = {}});
        const auto found = keys({"cube"});
        end();
        if (found.contains("cube")) made.cube = cubeFrom(found.at("cube"));
        Lookup& kept = declare(c.lookups, Kind::lookup, std::move(made));
        open({.values = &kept.tables[0].data,
              .number = entryOf(kept.out),
              .multiple = kept.bands,
              .what = "lookup " + kept.name});
    }

    ColorCube cubeFrom(std::string_view text) const {
        const auto parts = split(text, ':');
        if (parts.size() != 3) fail(quoted(text) + " is no cube M,M,M:D,D,D:O");
        ColorCube cube;
        for (const auto part : split(parts[0], ',')) {
            cube.multipliers.push_back(static_cast<int>(integerFrom(part, "multiplier", minInt32, maxInt32)));
        }
        for (const auto part : split(parts[1], ',')) cube.dimensions.push_back(unsignedFrom(part, "dimension"));
        if (cube.multipliers.size() != cube.dimensions.size()) fail("a cube has a multiplier for each dimension");
        cube.origin = shortFrom(parts[2], "origin");
        return cube;
    }

    void table() {
        Case& c = current();
        if (c.lookups.empty() || !c.lookups.back().combined) fail("no combined lookup stands before this");
        Lookup& owner = c.lookups.back();
        const short offset = shortFrom(token("offset"), "offset");
        owner.tables.push_back({.offset = offset, .data = {}});
        open({.values = &owner.tables.back().data, .number = entryOf(owner.out), .what = "lookup " + owner.name});
        takeValues();
    }

    std::size_t countOf(std::uint64_t a, std::uint64_t b, std::uint64_t c = 1) const {
        if ((b != 0 && a > maxCount / b) || (c != 0 && a * b > maxCount / c)) fail("too large");
        return a * b * c;
    }

    void kernel() { kernelOrSel(current().kernels, Kind::kernel, Number::real, {"name"}); }
    void sel() { kernelOrSel(current().sels, Kind::sel, Number::counter, {}); }

    void kernelOrSel(std::vector<Kernel>& list, Kind kind, Number number, std::initializer_list<const char*> known) {
        Kernel made{.name = name("name")};
        made.width = unsignedToken("width");
        made.height = unsignedToken("height");
        // Before the first column or row a key is below 0, as it is told by 65535 or 4294967295.
        made.keyX = unsignedToken("key column", minInt32);
        made.keyY = unsignedToken("key row", minInt32);
        const auto found = keys(known);
        end();
        if (found.contains("name")) made.label = std::string(found.at("name"));
        const std::size_t wanted = countOf(made.width, made.height);
        Kernel& kept = declare(list, kind, std::move(made));
        open({.values = &kept.data, .number = number, .wanted = wanted, .what = kept.name});
    }

    void mask() {
        Mask made{.name = name("name")};
        made.width = unsignedToken("width");
        made.height = unsignedToken("height");
        made.bands = unsignedToken("band count");
        end();
        const std::size_t wanted = countOf(made.width, made.height, made.bands);
        Mask& kept = declare(current().masks, Kind::mask, std::move(made));
        open({.values = &kept.data, .wanted = wanted, .what = kept.name});
    }

    void interp() {
        Interp made{.name = name("name")};
        made.size = unsignedToken("size");
        made.subsamples = unsignedToken("subsample count");
        end();
        const std::size_t wanted = countOf(made.size, made.subsamples);
        Interp& kept = declare(current().interps, Kind::interp, std::move(made));
        open({.values = &kept.data, .wanted = wanted, .what = kept.name});
    }

    void histogram() {
        Histogram made{.name = name("name")};
        const auto found = keys({"bins", "low", "high"});
        end();
        for (const char* key : {"bins", "low", "high"}) {
            if (!found.contains(key)) fail(std::string("missing ") + key);
        }
        std::size_t wanted = 1;
        for (const auto part : split(found.at("bins"), ',')) {
            made.bins.push_back(unsignedFrom(part, "count of bins"));
            wanted = countOf(wanted, made.bins.back());
        }
        for (const auto part : split(found.at("low"), ',')) made.low.push_back(floatFrom(part, "low value"));
        for (const auto part : split(found.at("high"), ',')) made.high.push_back(floatFrom(part, "high value"));
        if (made.low.size() != made.bins.size() || made.high.size() != made.bins.size()) {
            fail("bins, low and high need one value a band");
        }
        Histogram& kept = declare(current().histograms, Kind::histogram, std::move(made));
        open({.values = &kept.data, .number = Number::counter, .wanted = wanted, .optional = true, .what = kept.name});
    }

    void colorspace() {
        Colorspace made{.name = name("name"), .space = std::string(token("colour space"))};
        end();
        const auto& all = colorspaceNames();
        if (std::find(all.begin(), all.end(), made.space) == all.end())
            fail(quoted(made.space) + " is no colour space");
        declare(current().colorspaces, Kind::colorspace, std::move(made));
    }

    void floats() { array(current().floats, Kind::floats, Number::real); }
    void ulongs() { array(current().ulongs, Kind::ulongs, Number::counter); }

    void array(std::vector<Array>& list, Kind kind, Number number) {
        Array& kept = declare(list, kind, Array{.name = name("name")});
        open({.values = &kept.data, .number = number, .what = kept.name});
        takeValues();
    }

    void slot() {
        declare(current().slots, Kind::slot, Slot{.name = name("name")});
        end();
    }

    // ---- steps

    void set() {
        Case& c = current();
        SetContents made{.name = name("name"), .line = line_};
        const auto [number, wanted] = contentsOf(made.name);
        auto& kept = std::get<SetContents>(c.steps.emplace_back(std::move(made)));
        open({.values = &kept.values, .number = number, .wanted = wanted, .what = kept.name});
        takeValues();
    }

    struct Contents {
        Number number;
        std::size_t count;
    };

    Contents contentsOf(const std::string& which) {
        const Known& object = known(which);
        const Case& c = current();
        switch (object.kind) {
        case Kind::lookup: {
            const Lookup& found = c.lookups[object.index];
            std::size_t count = 0;
            for (const Lookup::Table& each : found.tables) count += each.data.size();
            return {entryOf(found.out), count};
        }
        case Kind::kernel:
            return {Number::real, c.kernels[object.index].data.size()};
        case Kind::sel:
            return {Number::counter, c.sels[object.index].data.size()};
        case Kind::mask:
            return {Number::real, c.masks[object.index].data.size()};
        case Kind::interp:
            return {Number::real, c.interps[object.index].data.size()};
        case Kind::floats:
            return {Number::real, c.floats[object.index].data.size()};
        case Kind::ulongs:
            return {Number::counter, c.ulongs[object.index].data.size()};
        default:
            fail(which + " takes no new contents");
        }
    }

    void touch() {
        Case& c = current();
        Touch made{.name = name("name"), .line = line_};
        end();
        if (known(made.name).kind == Kind::slot) fail(made.name + " has no version");
        c.steps.emplace_back(std::move(made));
    }

    std::array<std::string, 3> sourcesFrom(std::string_view text) {
        std::array<std::string, 3> sources;
        const auto parts = split(text, ',');
        if (parts.size() > sources.size()) fail("more than three sources");
        for (std::size_t i = 0; i < parts.size(); ++i) {
            if (parts[i] == "-") continue;
            sources[i] = parts[i];
            imageNamed(sources[i]);
        }
        return sources;
    }

    std::vector<Param> params() {
        std::vector<Param> made;
        if (!more()) return made;
        ++next_; // the colon
        while (more()) made.push_back(param(tokens_[next_++]));
        return made;
    }

    Param param(std::string_view text) {
        if (text == "null") return Param::null();
        if (text.starts_with("f=")) return Param::f(floatFrom(text.substr(2), "float"));
        if (text.starts_with("l=")) {
            constexpr auto low = std::numeric_limits<std::int64_t>::min();
            constexpr auto high = std::numeric_limits<std::int64_t>::max();
            return Param::l(integerFrom(text.substr(2), "integer", low, high));
        }
        if (!text.starts_with('@')) fail(quoted(text) + " is no parameter");
        std::string which(text.substr(1));
        known(which);
        return Param::ref(std::move(which));
    }

    void chain() {
        Chain made{.name = name("name"), .op = name("op"), .line = line_};
        const auto found = keys({"src"});
        if (found.contains("src")) made.src = sourcesFrom(found.at("src"));
        made.params = params();
        // Only calls speak of chains, so their names are apart from those of objects.
        if (!chains_.insert(made.name).second) fail("the chain " + made.name + " is there already");
        current().chains.push_back(std::move(made));
    }

    void call() {
        Case& c = current();
        Call made{.op = name("op"), .line = line_};
        const auto found = keys({"src", "dst", "op1"});
        if (found.contains("src")) made.src = sourcesFrom(found.at("src"));
        if (found.contains("dst") && found.at("dst") != "-") {
            made.dst = found.at("dst");
            imageNamed(made.dst);
        }
        if (found.contains("op1")) {
            made.op1 = found.at("op1");
            if (!chains_.contains(made.op1)) fail("no chain is named " + quoted(made.op1));
        }
        made.params = params();
        made.faults = std::move(faults_);
        faults_.clear();
        call_ = c.steps.size();
        c.addCall(std::move(made));
    }

    void fault() {
        current();
        const std::string_view point = token("fault point");
        const FaultName* found = faultNamed(point);
        if (found == nullptr) fail(quoted(point) + " is no fault point");
        Fault made{.point = found->point};
        if (found->image) {
            made.image = name("image");
            imageNamed(made.image);
        }
        if (found->counted && more()) made.nth = unsignedToken("number", 1);
        end();
        faults_.push_back(std::move(made));
    }

    // ---- expectations

    template <class T>
    std::optional<T> orAny(std::string_view text, T value) const {
        return text == "*" ? std::nullopt : std::optional<T>(std::move(value));
    }
    std::optional<int> intOrAny(const char* what) {
        const std::string_view text = token(what);
        if (text == "*") return std::nullopt;
        return static_cast<int>(integerFrom(text, what, minInt32, maxInt32));
    }

    void status() {
        lastCall().expect.status = intOrAny("status");
        end();
    }

    void error() {
        Call& c = lastCall();
        ExpectedError made{.id = std::string(token("message id"))};
        made.category = intOrAny("category");
        made.primary = intOrAny("primary flag");
        if (more()) made.line = intOrAny("line");
        if (more()) {
            const std::string_view text = token("file");
            if (text != "*") made.file = std::string(text);
        }
        end();
        c.expect.errors.push_back(std::move(made));
    }

    void out() {
        Call& c = lastCall();
        ExpectedImage made{.image = name("image"), .line = line_};
        const Image& target = imageNamed(made.image);
        const auto found = keys({"within"});
        end();
        if (found.contains("within")) {
            made.within = floatFrom(found.at("within"), "tolerance");
            if (!(made.within >= 0)) fail("a tolerance is not negative");
        }
        ExpectedImage& kept = c.expect.out.emplace_back(std::move(made));
        open({.expected = &kept.values,
              .expectedFill = &kept.fill,
              .number = numberOf(target.type),
              .wanted = target.sampleCount(),
              .what = "out " + kept.image});
    }

    void touched() {
        Call& c = lastCall();
        ExpectedTouch made{.image = name("image"), .line = line_};
        imageNamed(made.image);
        const std::string_view text = token("region");
        end();
        if (text != "none") made.region = regionFrom(text);
        c.expect.touched.push_back(std::move(made));
    }

    void now() {
        Call& c = lastCall();
        ExpectedContents made{.name = name("name"), .line = line_};
        const Known& object = known(made.name);
        Sink sink{.what = "now " + made.name};
        if (object.kind == Kind::histogram) {
            sink.number = Number::counter;
            sink.wanted = 1;
            for (const unsigned bins : current().histograms[object.index].bins) *sink.wanted *= bins;
        } else if (object.kind == Kind::floats || object.kind == Kind::ulongs || object.kind == Kind::kernel) {
            const Contents contents = contentsOf(made.name);
            sink.number = contents.number;
            sink.wanted = contents.count;
        } else {
            fail(made.name + " is no floats, ulongs, kernel or histogram");
        }
        ExpectedContents& kept = c.expect.now.emplace_back(std::move(made));
        sink.expected = &kept.values;
        open(std::move(sink));
        takeValues();
    }

    void result() {
        Call& c = lastCall();
        ExpectedLookup made{.slot = name("slot"), .line = line_};
        knownAs(made.slot, Kind::slot, "slot");
        if (more() && tokens_[next_] == "null") {
            ++next_;
            end();
            made.null = true;
            c.expect.results.push_back(std::move(made));
            return;
        }
        made.in = typeToken();
        made.out = typeToken();
        made.bands = unsignedToken("band count");
        made.offset = shortFrom(token("offset"), "offset");
        made.entries = unsignedToken("entry count");
        end();
        const std::size_t wanted = countOf(made.bands, made.entries);
        ExpectedLookup& kept = c.expect.results.emplace_back(std::move(made));
        open({.expected = &kept.values, .number = entryOf(kept.out), .wanted = wanted, .what = "result " + kept.slot});
    }

    void live() {
        Call& c = lastCall();
        const auto found = keys({"lists", "rois", "images"});
        end();
        const auto count = [&](const char* key, std::optional<unsigned>& into) {
            if (found.contains(key)) into = unsignedFrom(found.at(key), "count");
        };
        count("lists", c.expect.live.lists);
        count("rois", c.expect.live.rois);
        count("images", c.expect.live.images);
    }

    void statement() {
        static const std::map<std::string_view, Handler> handlers = {
            {"case", &Reader::beginCase},
            {"image", &Reader::image},
            {"data", &Reader::data},
            {"fill", &Reader::fill},
            {"lookup", &Reader::lookup},
            {"table", &Reader::table},
            {"kernel", &Reader::kernel},
            {"sel", &Reader::sel},
            {"mask", &Reader::mask},
            {"interp", &Reader::interp},
            {"colorspace", &Reader::colorspace},
            {"floats", &Reader::floats},
            {"ulongs", &Reader::ulongs},
            {"slot", &Reader::slot},
            {"set", &Reader::set},
            {"touch", &Reader::touch},
            {"chain", &Reader::chain},
            {"call", &Reader::call},
            {"fail", &Reader::fault},
            {"status", &Reader::status},
            {"error", &Reader::error},
            {"out", &Reader::out},
            {"touched", &Reader::touched},
            {"now", &Reader::now},
            {"result", &Reader::result},
            {"live", &Reader::live},
            {"histogram", &Reader::histogram},
        };
        const std::string_view word = tokens_[next_++];
        const auto found = handlers.find(word);
        if (found == handlers.end()) fail("unknown statement " + quoted(word));
        if (word != "data" && word != "fill") closeSink();
        (this->*found->second)();
    }

    std::string_view text_;
    std::string file_;
    std::size_t at_ = 0;
    int line_ = 0;
    std::vector<std::string_view> tokens_;
    std::size_t next_ = 0;

    std::vector<Case> cases_;
    std::map<std::string, Known, std::less<>> names_;
    std::set<std::string, std::less<>> chains_;
    std::vector<Fault> faults_;
    std::optional<std::size_t> call_; ///< place of the last call among the steps
    std::optional<Sink> sink_;
};

} // namespace

std::vector<Case> readCases(std::string_view text, const std::string& file) { return Reader(text, file).read(); }

std::vector<Case> readCaseFile(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    std::string text;
    std::array<char, 1 << 16> block{};
    while (file) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), file.get());
        text.append(block.data(), got);
        if (got < block.size()) break;
    }
    if (!file || std::ferror(file.get())) throw ReadError(path + ":0: cannot be read");
    return readCases(text, path);
}

} // namespace orvcase
