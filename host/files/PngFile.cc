// PNG by libpng.

#include <csetjmp>
#include <cstring>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <png.h>

#include "files/Codec.h"

namespace orv::files {

namespace {

constexpr double metresPerInch = 0.0254;

/// What libpng says last; it leaves through the jump buffer, so that no exception crosses its frames.
struct Complaint {
    char text[160] = "it is damaged";
};

void onError(png_structp png, png_const_charp message) {
    auto* complaint = static_cast<Complaint*>(png_get_error_ptr(png));
    // What libpng says where a file ends within a picture.
    if (std::strcmp(message, "Read Error") == 0) message = "it ends too soon";
    std::strncpy(complaint->text, message, sizeof complaint->text - 1);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

/// Profiles are kept as they are: libpng's opinion of widespread ones must not stop a picture.
void acceptProfiles(png_structp png) {
    png_set_benign_errors(png, 1);
#ifdef PNG_SKIP_sRGB_CHECK_PROFILE
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
#endif
}

/// Runs calls of libpng; false where it complained. The calls must own nothing.
template <class Calls>
bool guarded(png_structp png, Calls&& calls) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    calls();
    return true;
}

class PngReader final : public Reader {
public:
    PngReader(FileHandle file, std::string path, const ReadOptions& options)
        : file_(std::move(file)), path_(std::move(path)), options_(options) {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &complaint_, onError, onWarning);
        head_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
        if (head_ == nullptr) {
            png_destroy_read_struct(&png_, &head_, nullptr);
            refuseToRead(path_, "no memory");
        }
        try {
            readHead();
        } catch (...) {
            png_destroy_read_struct(&png_, &head_, nullptr);
            throw;
        }
    }

    ~PngReader() override { png_destroy_read_struct(&png_, &head_, nullptr); }

    void decode(const Pixels& pixels) override {
        RowStore store(info_, pixels, path_, true);
        if (passes_ == 1) {
            std::vector<std::byte> row(fileRowBytes());
            for (unsigned y = 0; y < info_.height; ++y) {
                check(guarded(png_, [&] { png_read_row(png_, reinterpret_cast<png_bytep>(row.data()), nullptr); }));
                storeRow(store, y, row.data());
            }
        } else {
            readInterlaced(store);
        }
        check(guarded(png_, [&] { png_read_end(png_, nullptr); }));
    }

private:
    void check(bool good) const {
        if (!good) refuseToRead(path_, complaint_.text);
    }

    std::size_t fileRowBytes() const noexcept { return rowBytes(info_) + 8; }

    void storeRow(RowStore& store, unsigned y, std::byte* row) {
        if (info_.type == ORV_SHORT) toBigEndian(row, std::size_t{info_.width} * info_.bands);
        store.put(y, row);
    }

    // The passes of an interlaced picture refine all rows in turn, so they are held until the last one is through.
    void readInterlaced(RowStore& store) {
        std::vector<std::byte> all(fileRowBytes() * info_.height);
        std::vector<png_bytep> rows(info_.height);
        for (unsigned y = 0; y < info_.height; ++y)
            rows[y] = reinterpret_cast<png_bytep>(all.data() + y * fileRowBytes());
        check(guarded(png_, [&] { png_read_image(png_, rows.data()); }));
        for (unsigned y = 0; y < info_.height; ++y) storeRow(store, y, reinterpret_cast<std::byte*>(rows[y]));
    }

    void readHead() {
        check(guarded(png_, [&] {
            acceptProfiles(png_);
            png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            png_init_io(png_, file_.get());
            png_read_info(png_, head_);
        }));
        info_.format = Format::png;
        info_.width = png_get_image_width(png_, head_);
        info_.height = png_get_image_height(png_, head_);
        info_.bits = png_get_bit_depth(png_, head_);
        checkSize(path_, info_.width, info_.height, options_);
        takeMetadata();
        setTransforms();
    }

    void setTransforms() {
        const int colour = png_get_color_type(png_, head_);
        const bool transparent = png_get_valid(png_, head_, PNG_INFO_tRNS) != 0;
        const bool palette = colour == PNG_COLOR_TYPE_PALETTE;
        const bool gray = colour == PNG_COLOR_TYPE_GRAY || colour == PNG_COLOR_TYPE_GRAY_ALPHA;
        const bool alpha = (colour & PNG_COLOR_MASK_ALPHA) != 0 || (transparent && !palette);
        check(guarded(png_, [&] {
            if (palette) png_set_packing(png_);
            if (gray && (alpha || info_.bits == 2 || info_.bits == 4)) png_set_expand_gray_1_2_4_to_8(png_);
            if (transparent && !palette) png_set_tRNS_to_alpha(png_);
            passes_ = png_set_interlace_handling(png_);
            png_read_update_info(png_, head_);
        }));
        info_.bands = png_get_channels(png_, head_);
        switch (png_get_bit_depth(png_, head_)) {
        case 1:
            info_.type = ORV_BIT;
            break;
        case 16:
            info_.type = ORV_SHORT;
            info_.sixteen = options_.sixteen;
            break;
        default:
            info_.type = ORV_BYTE;
        }
        if (palette) {
            info_.type = ORV_BYTE;
            info_.encoding = Encoding::palette;
        } else if (gray) {
            info_.encoding = alpha ? Encoding::grayAlpha : Encoding::gray;
        } else {
            info_.encoding = alpha ? Encoding::rgba : Encoding::rgb;
        }
        info_.compression = "deflate";
    }

    void takeMetadata() {
        check(guarded(png_, [&] {
            png_uint_32 x = 0;
            png_uint_32 y = 0;
            int unit = 0;
            if (png_get_pHYs(png_, head_, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
                info_.dpi = {x * metresPerInch, y * metresPerInch};
            }
        }));
        png_charp name = nullptr;
        int method = 0;
        png_bytep profile = nullptr;
        png_uint_32 bytes = 0;
        if (png_get_iCCP(png_, head_, &name, &method, &profile, &bytes) != 0)
            info_.icc.assign(profile, profile + bytes);
        png_bytep exif = nullptr;
        png_uint_32 exifBytes = 0;
        if (png_get_eXIf_1(png_, head_, &exifBytes, &exif) != 0) info_.orientation = orientationOf(exif, exifBytes);
        png_colorp colours = nullptr;
        int count = 0;
        if (png_get_PLTE(png_, head_, &colours, &count) == 0) return;
        png_bytep opacity = nullptr;
        int opacities = 0;
        if (png_get_tRNS(png_, head_, &opacity, &opacities, nullptr) == 0) opacities = 0;
        for (int i = 0; i < count; ++i) {
            const std::uint8_t a = i < opacities ? opacity[i] : std::uint8_t{255};
            info_.palette.push_back({colours[i].red, colours[i].green, colours[i].blue, a});
        }
    }

    FileHandle file_;
    std::string path_;
    ReadOptions options_;
    Complaint complaint_;
    png_structp png_ = nullptr;
    png_infop head_ = nullptr;
    int passes_ = 1;
};

struct PngWrite {
    Complaint complaint;
    png_structp png = nullptr;
    png_infop head = nullptr;

    PngWrite() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &complaint, onError, onWarning);
        head = png != nullptr ? png_create_info_struct(png) : nullptr;
    }
    PngWrite(const PngWrite&) = delete;
    PngWrite& operator=(const PngWrite&) = delete;
    ~PngWrite() { png_destroy_write_struct(&png, &head); }
};

int colourTypeOf(const std::string& path, const PictureInfo& info) {
    if (info.type == ORV_BIT && info.bands > 1) {
        refuseToWrite(path, fmt::format("PNG holds bits of one band alone, and the picture has {}; make it gray first, "
                                        "or write TIFF",
                                        info.bands));
    }
    if (info.encoding == Encoding::palette && info.type == ORV_BYTE && info.bands == 1 && !info.palette.empty())
        return PNG_COLOR_TYPE_PALETTE;
    switch (info.encoding) {
    case Encoding::gray:
    case Encoding::y601:
    case Encoding::y709:
    case Encoding::yLinear:
        if (info.bands == 1) return PNG_COLOR_TYPE_GRAY;
        break;
    case Encoding::grayAlpha:
        if (info.bands == 2) return PNG_COLOR_TYPE_GRAY_ALPHA;
        break;
    case Encoding::rgb:
    case Encoding::rgbLinear:
        if (info.bands == 3) return PNG_COLOR_TYPE_RGB;
        break;
    case Encoding::rgba:
        if (info.bands == 4) return PNG_COLOR_TYPE_RGB_ALPHA;
        break;
    case Encoding::palette:
    case Encoding::other:
        if (info.bands == 1) return PNG_COLOR_TYPE_GRAY;
        break;
    default:
        break;
    }
    const std::string_view meaning = info.encoding == Encoding::other ? "unnamed" : nameOf(info.encoding);
    refuseToWrite(path, fmt::format("PNG holds no picture of {} {} band{}; write TIFF", info.bands, meaning,
                                    info.bands == 1 ? "" : "s"));
}

void setPalette(PngWrite& out, const PictureInfo& info) {
    png_color colours[256] = {};
    png_byte opacity[256] = {};
    const std::size_t count = std::min<std::size_t>(info.palette.size(), 256);
    std::size_t opacities = 0;
    for (std::size_t i = 0; i < count; ++i) {
        colours[i] = {info.palette[i].r, info.palette[i].g, info.palette[i].b};
        opacity[i] = info.palette[i].a;
        if (opacity[i] != 255) opacities = i + 1;
    }
    png_set_PLTE(out.png, out.head, colours, static_cast<int>(count));
    if (opacities > 0) png_set_tRNS(out.png, out.head, opacity, static_cast<int>(opacities), nullptr);
}

int levelOf(const std::string& path, const std::string& compression) {
    if (compression.empty() || compression == "deflate") return 6;
    if (compression.size() == 1 && compression[0] >= '0' && compression[0] <= '9') return compression[0] - '0';
    refuseWish(path, fmt::format("PNG has no compression '{}' (a level 0 to 9, or deflate)", compression));
}

void writeHead(PngWrite& out, std::FILE* file, const PictureInfo& info, int colour, int level) {
    const int depth = info.type == ORV_BIT ? 1 : info.type == ORV_SHORT ? 16 : 8;
    acceptProfiles(out.png);
    png_init_io(out.png, file);
    png_set_compression_level(out.png, level);
    png_set_IHDR(out.png, out.head, info.width, info.height, depth, colour, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (colour == PNG_COLOR_TYPE_PALETTE) setPalette(out, info);
    if (info.dpi.x > 0) {
        png_set_pHYs(out.png, out.head, static_cast<png_uint_32>(info.dpi.x / metresPerInch + 0.5),
                     static_cast<png_uint_32>(info.dpi.y / metresPerInch + 0.5), PNG_RESOLUTION_METER);
    }
    if (!info.icc.empty()) {
        png_set_iCCP(out.png, out.head, "ICC profile", PNG_COMPRESSION_TYPE_BASE, info.icc.data(),
                     static_cast<png_uint_32>(info.icc.size()));
    }
    png_write_info(out.png, out.head);
}

} // namespace

std::unique_ptr<Reader> openPng(FileHandle file, const std::string& path, const ReadOptions& options) {
    return std::make_unique<PngReader>(std::move(file), path, options);
}

void writePng(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options) {
    const int colour = colourTypeOf(target.path(), info);
    const int level = levelOf(target.path(), options.compression);
    PngWrite out;
    const auto check = [&](bool good) {
        if (!good) refuseToWrite(target.path(), out.complaint.text);
    };
    if (out.head == nullptr) refuseToWrite(target.path(), "no memory");
    check(guarded(out.png, [&] { writeHead(out, target.file(), info, colour, level); }));
    const RowLoad load(info, pixels, target.path(), true);
    std::vector<std::byte> row(rowBytes(info));
    for (unsigned y = 0; y < info.height; ++y) {
        load.get(y, row.data());
        if (info.type == ORV_SHORT) toBigEndian(row.data(), std::size_t{info.width} * info.bands);
        check(guarded(out.png, [&] { png_write_row(out.png, reinterpret_cast<png_const_bytep>(row.data())); }));
    }
    check(guarded(out.png, [&] { png_write_end(out.png, nullptr); }));
}

} // namespace orv::files
