// orvbench [OPTION]... [TEXT]...: measures every op whose row's name holds one of the texts (all where there is none)
// and prints a table of ratios, the speed of the op over that of its peer and over that of memcpy.
//
//   --build NAME      the build of the module: baseline, v3 or v4
//   --side PIXELS     of the pictures, 2048 where nothing is said
//   --times N         runs of each, 30 where nothing is said
//   --seconds S       ends the runs of a row sooner, after three
//   --exact           texts are whole names
//   --alone           leaves the peers out, and measures what it takes to read and write as many bytes
//   --part I/N        the I-th row of every N alone, for machines that cannot be held for long
//   --json FILE       adds the table to the end of a file too, a line for each row
//   --uncovered       prints the registered functions that no row measures, instead; status 1 where there are some
//   --retained        prints how much memory each row's call leaves behind, instead
//   --load            prints how long it takes to open the module, and the memory that takes, instead

#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <random>
#include <set>
#include <string>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/core.hpp>
#endif

namespace orvbench {

unsigned side = 2048;

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string build;
    int times = 30;
    double seconds = 1e9;
    bool exact = false;
    bool alone = false;
    unsigned part = 1;
    unsigned parts = 1;
    std::string json;
    std::string instead;
    std::vector<std::string> texts;

    bool wants(const std::string& name) const {
        const auto fits = [&](const std::string& text) {
            return exact ? name == text : name.find(text) != std::string::npos;
        };
        return texts.empty() || std::ranges::any_of(texts, fits);
    }
};

Options& options() {
    static Options one;
    return one;
}

std::vector<Measurement>& measurements() {
    static std::vector<Measurement> all;
    return all;
}

/// The rows that were asked for, of them those of one part.
std::vector<const Measurement*> wanted() {
    std::vector<const Measurement*> rows;
    unsigned count = 0;
    for (const Measurement& row : measurements()) {
        if (options().wants(row.name) && count++ % options().parts + 1 == options().part) rows.push_back(&row);
    }
    return rows;
}

/// Bytes as the host keeps those of images: of many it asks that they lie in large pages.
std::vector<unsigned char> pictureBytes(std::size_t size) {
    std::vector<unsigned char> bytes;
    bytes.reserve(size);
#ifdef MADV_HUGEPAGE
    constexpr std::size_t page = 4096;
    constexpr std::size_t many = std::size_t{4} << 20;
    const std::size_t head = -reinterpret_cast<std::uintptr_t>(bytes.data()) % page;
    if (size >= many) madvise(bytes.data() + head, size - head, MADV_HUGEPAGE);
#endif
    bytes.resize(size, 1);
    return bytes;
}

double milliseconds(const std::function<void()>& run) {
    const auto start = Clock::now();
    run();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// A run finds in the caches what the one before it left there, which is another's work where the op, the peer and the
/// copy take turns. A short one is run twice in a row, so that each is measured on what it left itself.
double settledMilliseconds(const std::function<void()>& run) {
    constexpr double shortRun = 1;
    const double first = milliseconds(run);
    return first < shortRun ? std::min(first, milliseconds(run)) : first;
}

/// The fastest runs of a row, in milliseconds.
struct Times {
    double orv = 1e30;
    double peer = 1e30;
    double copy = 1e30;
    double stream = 1e30;
};

/// Reads some bytes and writes others, pieces of both in turn, and does nothing else.
class Stream {
public:
    explicit Stream(const Measurement::Runs& runs)
        : from_(pictureBytes(runs.bytes - runs.written)), to_(pictureBytes(runs.written)) {}

    void operator()() noexcept {
        const std::size_t pieces = std::max(from_.size(), to_.size()) / sizeof near_ + 1;
        for (std::size_t i = 0; i < pieces; ++i) {
            const std::size_t read = from_.size() * i / pieces;
            std::memcpy(near_, from_.data() + read, from_.size() * (i + 1) / pieces - read);
            const std::size_t written = to_.size() * i / pieces;
            std::memcpy(to_.data() + written, near_, to_.size() * (i + 1) / pieces - written);
        }
    }

private:
    std::vector<unsigned char> from_;
    std::vector<unsigned char> to_;
    unsigned char near_[4096] = {}; // in the first cache
};

Times timesOf(const Measurement::Runs& runs) {
    // A copy reads and writes: half of the op's bytes go each way.
    std::vector<unsigned char> from = pictureBytes(runs.bytes / 2);
    std::vector<unsigned char> to = pictureBytes(runs.bytes / 2);
    constexpr int least = 3;
    const double allowed = options().seconds * 1000;
    double spent = 0;
    Times best;
    std::optional<Stream> stream;
    if (options().alone) stream.emplace(runs);
    for (int i = 0; i < options().times && (i < least || spent < allowed); ++i) {
        const double orv = settledMilliseconds(runs.orv);
        const double peer = runs.peer && !options().alone ? settledMilliseconds(runs.peer) : 0;
        const double copy = settledMilliseconds([&] { std::memcpy(to.data(), from.data(), from.size()); });
        const double read = stream ? settledMilliseconds([&] { (*stream)(); }) : 0;
        best = {std::min(best.orv, orv), std::min(best.peer, peer), std::min(best.copy, copy),
                std::min(best.stream, read)};
        spent += orv + peer + copy + read;
    }
    return best;
}

void print(const Measurement& row, const Times& best) {
    std::printf("%-22s %8.3f ms  memcpy %8.3f ms %6.2f", row.name.c_str(), best.orv, best.copy, best.copy / best.orv);
    if (row.copyGoal != 0) std::printf(" (goal %.2f)", row.copyGoal);
    if (best.peer > 0) {
        std::printf("   %-10s %8.3f ms %6.2f", row.peer.c_str(), best.peer, best.peer / best.orv);
        if (row.goal != 0) std::printf(" (goal %.2f)", row.goal);
    }
    std::printf("\n");
    std::fflush(stdout);
}

void write(std::FILE* file, const Measurement& row, const Times& best, std::size_t bytes) {
    std::fprintf(
        file,
        R"({"name": "%s", "side": %u, "orv": %.6f, "copy": %.6f, "stream": %.6f, "copyGoal": %.3f, "bytes": %zu, )"
        R"("peer": "%s", "peerTime": %.6f, "goal": %.3f})"
        "\n",
        row.name.c_str(), side, best.orv, best.copy, best.stream, row.copyGoal, bytes,
        best.peer > 0 ? row.peer.c_str() : "", best.peer, row.goal);
    std::fflush(file);
}

void measureAll() {
    std::FILE* const json = options().json.empty() ? nullptr : std::fopen(options().json.c_str(), "a");
    for (const Measurement* row : wanted()) {
        const Measurement::Runs runs = row->prepare();
        const Times best = timesOf(runs);
        print(*row, best);
        if (json != nullptr) write(json, *row, best, runs.bytes);
    }
    if (json != nullptr) std::fclose(json);
}

/// A row measures the function whose path its name begins with.
int printUncovered() {
    std::set<std::string> measured;
    for (const Measurement& row : measurements()) measured.insert(row.name.substr(0, row.name.find(' ')));
    std::set<std::string> missing;
    for (const std::string& path : session().device()->registrations()) {
        if (!measured.contains(path)) missing.insert(path);
    }
    for (const std::string& path : missing) std::printf("%s\n", path.c_str());
    return missing.empty() ? 0 : 1;
}

/// Memory that the process has written to, in bytes; what was given back is out of it.
long written() {
    malloc_trim(0);
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("RssAnon:")) return std::atol(line.c_str() + std::strlen("RssAnon:")) * 1024;
    }
    return 0;
}

void printRetained() {
    for (const Measurement* row : wanted()) {
        const long before = written();
        row->prepare().orv();
        std::printf("%-30s %10ld\n", row->name.c_str(), written() - before);
    }
}

void printLoad() {
    const long before = written();
    const double took = milliseconds([] { session(); });
    std::printf("%s %.3f ms %ld bytes\n", session().device()->build().c_str(), took, written() - before);
}

void cutUp(orv::host::Image& image, const Layout& layout) {
    constexpr unsigned count = 4;
    constexpr unsigned gap = 3;
    const unsigned width = layout.width / count;
    const unsigned height = layout.height / count;
    std::vector<orv::host::Rect> rects;
    rects.reserve(std::size_t{count} * count);
    for (unsigned i = 0; i < count * count; ++i) {
        rects.push_back({i % count * width, i / count * height, width - gap, height - gap});
    }
    image.setRegion(rects);
}

} // namespace

orv::host::Session& session() {
    static const orv::host::Owned<orv::host::Session> session = [] {
        auto opened = orv::host::Session::open({.build = options().build});
        opened->setErrorHandler([](const orv::host::Report&) {});
        return opened;
    }();
    return *session;
}

Picture::Picture(OrvDataType type, unsigned bands, const Layout& layout) {
    const unsigned pixel = bands + layout.pixelGap;
    const unsigned sampleBytes = type == ORV_FLOAT ? 4 : type == ORV_SHORT ? 2 : 1;
    const unsigned stride =
        layout.rowGap + (type == ORV_BIT ? (layout.width + layout.offset + 7) / 8 : layout.width * pixel);
    stride_ = stride;
    pixel_ = pixel;
    const std::size_t planes = type == ORV_BIT ? bands : 1;
    bytes_ = pictureBytes(std::size_t{stride} * layout.height * planes * sampleBytes);
    std::mt19937 random(7);
    for (std::size_t i = 0; i < bytes_.size(); i += sizeof(std::uint32_t)) {
        const auto word = static_cast<std::uint32_t>(random());
        std::memcpy(&bytes_[i], &word, std::min(sizeof word, bytes_.size() - i));
    }
    OrvMemoryStorage storage{};
    const auto pixelStride = static_cast<std::uint16_t>(pixel);
    switch (type) {
    case ORV_BIT:
        storage.bit = {bytes_.data(), static_cast<std::uint16_t>(stride), stride * layout.height,
                       static_cast<std::uint8_t>(layout.offset)};
        break;
    case ORV_BYTE:
        storage.byte = {bytes_.data(), stride, pixelStride};
        break;
    case ORV_SHORT:
        storage.shorts = {samples<short>(), stride, pixelStride};
        break;
    case ORV_FLOAT:
        storage.floats = {samples<float>(), stride, pixelStride};
        break;
    }
    image_ = orv::host::Image::wrap(
        session(), {.type = type, .width = layout.width, .height = layout.height, .bands = bands}, storage);
    if (layout.rectangles) cutUp(*image_, layout);
}

Call::Call(const char* op, const std::vector<Picture*>& sources, Picture& destination)
    : op_(orv::host::Op::make(session(), op)) {
    int number = 0;
    for (Picture* source : sources) op_->setSource(++number, &source->image());
    op_->setDestination(&destination.image());
}

void Call::operator()() {
    if (session().run(*op_).status != ORV_SUCCESS) {
        std::fprintf(stderr, "%s failed\n", op_->name().c_str());
        std::exit(1);
    }
}

bool measure(Measurement measurement) {
    measurements().push_back(std::move(measurement));
    return true;
}

} // namespace orvbench

namespace {

bool readOptions(int count, char** words) {
    using orvbench::options;
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        const auto value = [&] { return i + 1 < count ? words[++i] : ""; };
        if (word == "--build") {
            options().build = value();
        } else if (word == "--side") {
            orvbench::side = static_cast<unsigned>(std::atoi(value()));
        } else if (word == "--times") {
            options().times = std::atoi(value());
        } else if (word == "--seconds") {
            options().seconds = std::atof(value());
        } else if (word == "--part") {
            if (std::sscanf(value(), "%u/%u", &options().part, &options().parts) != 2 || options().parts == 0)
                return false;
        } else if (word == "--json") {
            options().json = value();
        } else if (word == "--exact") {
            options().exact = true;
        } else if (word == "--alone") {
            options().alone = true;
        } else if (word == "--uncovered" || word == "--retained" || word == "--load") {
            options().instead = word;
        } else if (word.starts_with("--")) {
            std::fprintf(stderr, "orvbench: there is no option '%s'\n", words[i]);
            return false;
        } else {
            options().texts.push_back(word);
        }
    }
    return true;
}

} // namespace

int main(int count, char** words) {
    if (!readOptions(count, words)) return 2;
#ifdef ORV_PEER_OPENCV
    cv::setNumThreads(1);
#endif
    const std::string& instead = orvbench::options().instead;
    if (instead == "--uncovered") return orvbench::printUncovered();
    if (instead == "--retained") {
        orvbench::printRetained();
    } else if (instead == "--load") {
        orvbench::printLoad();
    } else {
        orvbench::measureAll();
    }
    return 0;
}
