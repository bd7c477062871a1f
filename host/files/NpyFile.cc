// Arrays of numpy: bool, uint8, int16, uint16 and (with a range) floats of shape (height, width) or (height, width,
// bands), colours R, G, B.

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "files/Codec.h"

namespace orv::files {

namespace {

constexpr char native = std::endian::native == std::endian::little ? '<' : '>';

/// The value of a key in the dictionary that heads the file.
std::string valueOf(const std::string& head, std::string_view key) {
    std::size_t at = head.find(fmt::format("'{}':", key));
    if (at == std::string::npos) return {};
    at += key.size() + 3;
    while (at < head.size() && head[at] == ' ') ++at;
    const char close = head[at] == '(' ? ')' : ',';
    const std::size_t end = head.find(close, at);
    return head.substr(at, end == std::string::npos ? end : end - at + (close == ')' ? 1 : 0));
}

class NpyReader final : public Reader {
public:
    NpyReader(FileHandle file, std::string path, const ReadOptions& options)
        : file_(std::move(file)), path_(std::move(path)), options_(options) {
        info_.format = Format::npy;
        info_.compression = "none";
        const std::string head = readHead();
        setType(valueOf(head, "descr"));
        if (valueOf(head, "fortran_order") != "False")
            refuseToRead(path_, "its array is in column order; save it with order='C'");
        setShape(valueOf(head, "shape"));
        const std::uint64_t rest = sizeOf(file_.get()) - static_cast<std::uint64_t>(std::ftell(file_.get()));
        if (rest < fileRowBytes() * std::uint64_t{info_.height}) refuseToRead(path_, "it is cut short");
    }

    void decode(const Pixels& pixels) override {
        RowStore store(info_, pixels, path_, unsigned_);
        std::vector<std::byte> row(fileRowBytes());
        for (unsigned y = 0; y < info_.height; ++y) {
            if (std::fread(row.data(), 1, row.size(), file_.get()) != row.size())
                refuseToRead(path_, "it is cut short");
            if (info_.type == ORV_BIT) {
                storeBits(store, y, row);
                continue;
            }
            const std::size_t count = std::size_t{info_.width} * info_.bands;
            if (swapped_) swapBytes(row.data(), count, info_.bits / 8);
            if (floats_) mapFloats(row.data(), count, info_.bits / 8, *options_.floats);
            store.put(y, row.data());
        }
    }

private:
    std::size_t fileRowBytes() const noexcept {
        const std::size_t samples = std::size_t{info_.width} * info_.bands;
        return info_.type == ORV_BIT ? samples : samples * (info_.bits / 8);
    }

    std::string readHead() {
        std::uint8_t start[12] = {};
        if (std::fread(start, 1, 10, file_.get()) != 10) refuseToRead(path_, "it is cut short");
        std::size_t bytes = start[8] + 256U * start[9];
        if (start[6] >= 2) {
            if (std::fread(start + 10, 1, 2, file_.get()) != 2) refuseToRead(path_, "it is cut short");
            bytes += 65536U * start[10] + (std::size_t{start[11]} << 24);
        }
        if (bytes > sizeOf(file_.get())) refuseToRead(path_, "it is cut short");
        std::string head(bytes, ' ');
        if (std::fread(head.data(), 1, bytes, file_.get()) != bytes) refuseToRead(path_, "it is cut short");
        return head;
    }

    void setType(const std::string& quoted) {
        const std::string name = quoted.size() > 2 ? quoted.substr(1, quoted.size() - 2) : quoted;
        if (name.size() != 3) refuseType(name);
        const std::string kind = name.substr(1);
        swapped_ = name[0] != native && name[0] != '|' && name[0] != '=';
        if (kind == "b1") {
            info_.type = ORV_BIT;
            info_.bits = 1;
        } else if (kind == "u1") {
            info_.type = ORV_BYTE;
        } else if (kind == "i2" || kind == "u2") {
            info_.type = ORV_SHORT;
            info_.bits = 16;
            unsigned_ = kind == "u2";
            info_.sixteen = unsigned_ ? options_.sixteen : Sixteen::number;
        } else if ((kind == "f4" || kind == "f8") && options_.floats) {
            info_.type = ORV_SHORT;
            info_.bits = kind == "f8" ? 64 : 32;
            floats_ = true;
            unsigned_ = true;
            info_.sixteen = options_.sixteen;
        } else {
            refuseType(name);
        }
    }

    [[noreturn]] void refuseType(const std::string& name) const {
        refuseToRead(path_,
                     fmt::format("its samples are {}; bool, uint8, int16 and uint16 are read{}", name,
                                 name.find('f') != std::string::npos ? " (map floats first: --map LOW:HIGH)" : ""));
    }

    void setShape(const std::string& shape) {
        std::vector<std::uint64_t> sizes;
        for (std::size_t i = 0; i < shape.size();) {
            if (shape[i] < '0' || shape[i] > '9') {
                ++i;
                continue;
            }
            std::uint64_t value = 0;
            for (; i < shape.size() && shape[i] >= '0' && shape[i] <= '9'; ++i) {
                value = std::min<std::uint64_t>(value * 10 + static_cast<std::uint64_t>(shape[i] - '0'), 0xffffffffU);
            }
            sizes.push_back(value);
        }
        if (sizes.size() != 2 && sizes.size() != 3)
            refuseToRead(path_, "its array is not (height, width) or (height, width, bands)");
        checkSize(path_, sizes[1], sizes[0], options_);
        const std::uint64_t bands = sizes.size() == 3 ? sizes[2] : 1;
        if (bands == 0 || bands > 64) refuseToRead(path_, "it has no bands, or more than 64");
        info_.width = static_cast<unsigned>(sizes[1]);
        info_.height = static_cast<unsigned>(sizes[0]);
        info_.bands = static_cast<unsigned>(bands);
        info_.encoding = bands == 1   ? Encoding::gray
                         : bands == 3 ? Encoding::rgb
                         : bands == 4 ? Encoding::rgba
                                      : Encoding::other;
        if (bands == 2) info_.encoding = Encoding::grayAlpha;
    }

    void storeBits(RowStore& store, unsigned y, const std::vector<std::byte>& row) {
        std::vector<std::byte> plane(rowBytes(info_));
        for (unsigned band = 0; band < info_.bands; ++band) {
            std::ranges::fill(plane, std::byte{0});
            for (unsigned x = 0; x < info_.width; ++x) {
                if (row[std::size_t{x} * info_.bands + band] != std::byte{0})
                    plane[x >> 3] |= std::byte{0x80} >> (x & 7);
            }
            store.put(y, plane.data(), band);
        }
    }

    FileHandle file_;
    std::string path_;
    ReadOptions options_;
    bool unsigned_ = false;
    bool swapped_ = false;
    bool floats_ = false;
};

std::string headFor(const PictureInfo& info, bool unsignedSixteen) {
    const std::string type = info.type == ORV_BIT    ? "|b1"
                             : info.type == ORV_BYTE ? "|u1"
                                                     : fmt::format("{}{}2", native, unsignedSixteen ? 'u' : 'i');
    const std::string shape = info.bands == 1 ? fmt::format("({}, {})", info.height, info.width)
                                              : fmt::format("({}, {}, {})", info.height, info.width, info.bands);
    std::string head = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': {}, }}", type, shape);
    // The samples begin at a multiple of 64 bytes.
    constexpr std::size_t start = 10;
    constexpr std::size_t alignment = 64;
    head.append((alignment - (start + head.size() + 1) % alignment) % alignment, ' ');
    head += '\n';
    const auto bytes = static_cast<unsigned>(head.size());
    std::string magic = "\x93NUMPY\x01";
    magic += '\0';
    magic += static_cast<char>(bytes & 255U);
    magic += static_cast<char>(bytes >> 8);
    return magic + head;
}

} // namespace

std::unique_ptr<Reader> openNpy(FileHandle file, const std::string& path, const ReadOptions& options) {
    return std::make_unique<NpyReader>(std::move(file), path, options);
}

void writeNpy(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions&) {
    const bool unsignedSixteen = info.type == ORV_SHORT && info.sixteen != Sixteen::number;
    const std::string head = headFor(info, unsignedSixteen);
    std::fwrite(head.data(), 1, head.size(), target.file());
    const RowLoad load(info, pixels, target.path(), unsignedSixteen);
    std::vector<std::byte> row(rowBytes(info));
    std::vector<std::byte> flags(info.type == ORV_BIT ? std::size_t{info.width} * info.bands : 0);
    for (unsigned y = 0; y < info.height; ++y) {
        for (unsigned band = 0; band < (info.type == ORV_BIT ? info.bands : 1); ++band) {
            load.get(y, row.data(), band);
            for (unsigned x = 0; info.type == ORV_BIT && x < info.width; ++x) {
                flags[std::size_t{x} * info.bands + band] = (row[x >> 3] >> (7 - (x & 7))) & std::byte{1};
            }
        }
        const std::vector<std::byte>& bytes = info.type == ORV_BIT ? flags : row;
        std::fwrite(bytes.data(), 1, bytes.size(), target.file());
    }
}

} // namespace orv::files
