// The portable any-map family: PBM, PGM, PPM (plain and raw) and PAM.

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "files/Codec.h"

namespace orv::files {

namespace {

class PnmReader final : public Reader {
public:
    PnmReader(FileHandle file, std::string path, const ReadOptions& options)
        : file_(std::move(file)), path_(std::move(path)), options_(options) {
        readHead();
        if (info_.type == ORV_SHORT) info_.sixteen = options_.sixteen;
        info_.bits = info_.type == ORV_BIT ? 1 : info_.type == ORV_SHORT ? 16 : 8;
        info_.compression = "none";
        const std::uint64_t rest = sizeOf(file_.get()) - static_cast<std::uint64_t>(std::ftell(file_.get()));
        if (!plain_ && rest < fileRowBytes() * std::uint64_t{info_.height}) refuseToRead(path_, "it is cut short");
    }

    void decode(const Pixels& pixels) override {
        RowStore store(info_, pixels, path_, true);
        std::vector<std::byte> row(std::max(fileRowBytes(), rowBytes(info_)));
        for (unsigned y = 0; y < info_.height; ++y) {
            if (plain_) {
                readPlainRow(row.data());
            } else {
                readRow(row.data());
            }
            if (info_.type == ORV_BIT && blackIsSet_ && !options_.rawPolarity) invertBits(row.data(), rowBytes(info_));
            store.put(y, row.data());
        }
    }

private:
    std::size_t fileRowBytes() const noexcept { return bytesForBits_ ? info_.width : rowBytes(info_); }

    void readRow(std::byte* row) {
        if (std::fread(row, 1, fileRowBytes(), file_.get()) != fileRowBytes()) refuseToRead(path_, "it is cut short");
        if (info_.type == ORV_SHORT) toBigEndian(row, samples());
        if (bytesForBits_) {
            packRow(row);
        } else {
            scale(row);
        }
    }

    void packRow(std::byte* row) const {
        std::vector<std::byte> packed(rowBytes(info_));
        for (unsigned x = 0; x < info_.width; ++x) {
            if (row[x] != std::byte{0}) packed[x >> 3] |= std::byte{0x80} >> (x & 7);
        }
        std::ranges::copy(packed, row);
    }

    void readPlainRow(std::byte* row) {
        if (info_.type == ORV_BIT) {
            std::fill_n(row, rowBytes(info_), std::byte{0});
            for (unsigned x = 0; x < info_.width; ++x) {
                if (plainBit()) row[x >> 3] |= std::byte{0x80} >> (x & 7);
            }
            return;
        }
        for (std::size_t i = 0; i < samples(); ++i) {
            const auto value = static_cast<std::uint16_t>(number());
            if (value > top_) refuseToRead(path_, "it has a sample above its own maximum");
            if (info_.type == ORV_SHORT) {
                std::memcpy(row + 2 * i, &value, sizeof value);
            } else {
                row[i] = static_cast<std::byte>(value);
            }
        }
        scale(row);
    }

    /// Stretches samples whose maximum is not that of their width.
    void scale(std::byte* row) const {
        const unsigned full = info_.type == ORV_SHORT ? 65535 : 255;
        if (top_ == full || info_.type == ORV_BIT) return;
        const auto stretched = [&](unsigned v) { return (std::min(v, top_) * full + top_ / 2) / top_; };
        for (std::size_t i = 0; i < samples(); ++i) {
            if (info_.type == ORV_BYTE) {
                row[i] = static_cast<std::byte>(stretched(std::to_integer<unsigned>(row[i])));
                continue;
            }
            std::uint16_t value = 0;
            std::memcpy(&value, row + 2 * i, sizeof value);
            value = static_cast<std::uint16_t>(stretched(value));
            std::memcpy(row + 2 * i, &value, sizeof value);
        }
    }

    std::size_t samples() const noexcept { return std::size_t{info_.width} * info_.bands; }

    void readHead() {
        info_.format = Format::pnm;
        std::fgetc(file_.get());
        const int kind = std::fgetc(file_.get()) - '0';
        if (kind == 7) {
            readPamHead();
            return;
        }
        plain_ = kind <= 3;
        const int family = plain_ ? kind : kind - 3;
        const unsigned long width = number();
        const unsigned long height = number();
        checkSize(path_, width, height, options_);
        info_.width = static_cast<unsigned>(width);
        info_.height = static_cast<unsigned>(height);
        info_.bands = family == 3 ? 3 : 1;
        info_.encoding = family == 3 ? Encoding::rgb : Encoding::gray;
        if (family == 1) {
            info_.type = ORV_BIT;
            blackIsSet_ = true;
        } else {
            setMaximum(number());
        }
        if (!plain_) std::fseek(file_.get(), headEnd_, SEEK_SET);
    }

    void setMaximum(unsigned long top) {
        if (top == 0 || top > 65535) refuseToRead(path_, "its maximum is not 1 to 65535");
        top_ = static_cast<unsigned>(top);
        info_.type = top > 255 ? ORV_SHORT : ORV_BYTE;
    }

    void readPamHead() {
        std::map<std::string, std::string> facts;
        char line[256];
        while (std::fgets(line, sizeof line, file_.get()) != nullptr) {
            std::string text(line);
            while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.pop_back();
            if (text == "ENDHDR") break;
            const std::size_t blank = text.find(' ');
            if (text.empty() || text[0] == '#' || blank == std::string::npos) continue;
            facts[text.substr(0, blank)] = text.substr(blank + 1);
        }
        const auto fact = [&](const char* name) { return std::strtoul(facts[name].c_str(), nullptr, 10); };
        checkSize(path_, fact("WIDTH"), fact("HEIGHT"), options_);
        info_.width = static_cast<unsigned>(fact("WIDTH"));
        info_.height = static_cast<unsigned>(fact("HEIGHT"));
        info_.bands = static_cast<unsigned>(fact("DEPTH"));
        if (info_.bands == 0 || info_.bands > 16) refuseToRead(path_, "its depth is not 1 to 16");
        setMaximum(fact("MAXVAL"));
        const std::string& type = facts["TUPLTYPE"];
        if (type == "BLACKANDWHITE" && info_.bands == 1 && top_ == 1) {
            info_.type = ORV_BIT;
            bytesForBits_ = true;
        }
        setPamEncoding(type);
    }

    void setPamEncoding(const std::string& type) {
        info_.encoding = Encoding::other;
        if (info_.bands == 1) info_.encoding = Encoding::gray;
        if (type == "GRAYSCALE_ALPHA" && info_.bands == 2) info_.encoding = Encoding::grayAlpha;
        if (type == "RGB" && info_.bands == 3) info_.encoding = Encoding::rgb;
        if (type == "RGB_ALPHA" && info_.bands == 4) info_.encoding = Encoding::rgba;
        if (type == "CMYK" && info_.bands == 4) info_.encoding = Encoding::cmyk;
    }

    int next() {
        const int c = std::fgetc(file_.get());
        if (c != '#') return c;
        int skipped = c;
        while (skipped != '\n' && skipped != EOF) skipped = std::fgetc(file_.get());
        return skipped;
    }

    bool plainBit() {
        for (int c = next();; c = next()) {
            if (c == '0' || c == '1') return c == '1';
            if (c == EOF || std::isspace(c) == 0) refuseToRead(path_, "it is cut short or damaged");
        }
    }

    unsigned long number() {
        int c = next();
        while (c != EOF && std::isspace(c) != 0) c = next();
        if (c == EOF || std::isdigit(c) == 0) refuseToRead(path_, "it is cut short or damaged");
        unsigned long value = 0;
        constexpr unsigned long limit = 0xffffffffUL;
        for (; c != EOF && std::isdigit(c) != 0; c = std::fgetc(file_.get())) {
            value = std::min(limit, value * 10 + static_cast<unsigned long>(c - '0'));
        }
        headEnd_ = std::ftell(file_.get());
        if (c == '#') std::ungetc(c, file_.get());
        return value;
    }

    FileHandle file_;
    std::string path_;
    ReadOptions options_;
    bool plain_ = false;
    bool blackIsSet_ = false;
    bool bytesForBits_ = false;
    unsigned top_ = 255;
    long headEnd_ = 0;
};

const char* tupleTypeOf(const PictureInfo& info) noexcept {
    switch (info.encoding) {
    case Encoding::gray:
        return "GRAYSCALE";
    case Encoding::grayAlpha:
        return "GRAYSCALE_ALPHA";
    case Encoding::rgb:
        return "RGB";
    case Encoding::rgba:
        return "RGB_ALPHA";
    case Encoding::cmyk:
        return "CMYK";
    default:
        return "OTHER";
    }
}

std::string headFor(const PictureInfo& info) {
    if (info.type == ORV_BIT) return fmt::format("P4\n{} {}\n", info.width, info.height);
    const unsigned top = info.type == ORV_SHORT ? 65535 : 255;
    if (info.bands == 1) return fmt::format("P5\n{} {}\n{}\n", info.width, info.height, top);
    if (info.bands == 3 && info.encoding == Encoding::rgb)
        return fmt::format("P6\n{} {}\n{}\n", info.width, info.height, top);
    return fmt::format("P7\nWIDTH {}\nHEIGHT {}\nDEPTH {}\nMAXVAL {}\nTUPLTYPE {}\nENDHDR\n", info.width, info.height,
                       info.bands, top, tupleTypeOf(info));
}

} // namespace

std::unique_ptr<Reader> openPnm(FileHandle file, const std::string& path, const ReadOptions& options) {
    return std::make_unique<PnmReader>(std::move(file), path, options);
}

void writePnm(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options) {
    if (info.type == ORV_BIT && info.bands > 1)
        refuseToWrite(target.path(), "PNM holds 1-bit pictures of one band; write TIFF");
    if (info.encoding == Encoding::palette) refuseToWrite(target.path(), "PNM holds no palette; write PNG or TIFF");
    const std::string head = headFor(info);
    std::fwrite(head.data(), 1, head.size(), target.file());
    const RowLoad load(info, pixels, target.path(), true);
    std::vector<std::byte> row(rowBytes(info));
    for (unsigned y = 0; y < info.height; ++y) {
        load.get(y, row.data());
        if (info.type == ORV_BIT && !options.rawPolarity) invertBits(row.data(), row.size());
        if (info.type == ORV_SHORT) toBigEndian(row.data(), std::size_t{info.width} * info.bands);
        std::fwrite(row.data(), 1, row.size(), target.file());
    }
}

} // namespace orv::files
