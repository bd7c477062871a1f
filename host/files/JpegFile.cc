// JPEG by libjpeg-turbo.

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include <jpeglib.h>

#include <fmt/format.h>

#include "files/Codec.h"

namespace orv::files {

namespace {

constexpr double centimetresPerInch = 2.54;
constexpr int exifMarker = JPEG_APP0 + 1;
constexpr char exifHead[] = "Exif\0";
constexpr std::size_t exifHeadBytes = 6;

/// libjpeg's error record with the way out: errors leave through the jump buffer, so that no exception crosses its
/// frames.
struct Errors {
    jpeg_error_mgr base;
    jmp_buf out;
    char text[JMSG_LENGTH_MAX];
    bool cutShort;
};

void onError(j_common_ptr state) {
    auto* errors = reinterpret_cast<Errors*>(state->err);
    state->err->format_message(state, errors->text);
    std::longjmp(errors->out, 1);
}

// A warning means that samples were made up: the file is damaged or cut short.
void onMessage(j_common_ptr state, int level) {
    auto* errors = reinterpret_cast<Errors*>(state->err);
    if (level >= 0 || errors->cutShort) return;
    errors->cutShort = true;
    state->err->format_message(state, errors->text);
}

void prepare(Errors& errors) {
    jpeg_std_error(&errors.base);
    errors.base.error_exit = onError;
    errors.base.emit_message = onMessage;
    errors.text[0] = '\0';
    errors.cutShort = false;
}

/// Runs calls of libjpeg; false where it complained. The calls must own nothing.
template <class Calls>
bool guarded(Errors& errors, Calls&& calls) {
    if (setjmp(errors.out) != 0) return false;
    calls();
    return true;
}

class JpegReader final : public Reader {
public:
    JpegReader(FileHandle file, std::string path, const ReadOptions& options)
        : file_(std::move(file)), path_(std::move(path)) {
        prepare(errors_);
        state_.err = &errors_.base;
        jpeg_create_decompress(&state_);
        try {
            readHead(options);
        } catch (...) {
            jpeg_destroy_decompress(&state_);
            throw;
        }
    }

    ~JpegReader() override { jpeg_destroy_decompress(&state_); }

    void decode(const Pixels& pixels) override {
        RowStore store(info_, pixels, path_, false);
        std::vector<std::byte> row(rowBytes(info_));
        check(guarded(errors_, [&] { jpeg_start_decompress(&state_); }));
        for (unsigned y = 0; y < info_.height; ++y) {
            auto* place = reinterpret_cast<JSAMPROW>(row.data());
            check(guarded(errors_, [&] { jpeg_read_scanlines(&state_, &place, 1); }));
            if (inverted_) invertBits(row.data(), row.size());
            store.put(y, row.data());
        }
        check(guarded(errors_, [&] { jpeg_finish_decompress(&state_); }));
    }

private:
    void check(bool good) const {
        if (!good || errors_.cutShort) refuseToRead(path_, errors_.text);
    }

    void readHead(const ReadOptions& options) {
        constexpr unsigned wholeMarker = 0xffff;
        check(guarded(errors_, [&] {
            jpeg_stdio_src(&state_, file_.get());
            jpeg_save_markers(&state_, exifMarker, wholeMarker);
            jpeg_save_markers(&state_, JPEG_APP0 + 2, wholeMarker);
            jpeg_read_header(&state_, TRUE);
        }));
        checkSize(path_, state_.image_width, state_.image_height, options);
        info_.format = Format::jpeg;
        info_.width = state_.image_width;
        info_.height = state_.image_height;
        info_.type = ORV_BYTE;
        info_.compression = "jpeg";
        setColours();
        if (state_.density_unit != 0 && state_.X_density > 0) {
            const double scale = state_.density_unit == 2 ? centimetresPerInch : 1.0;
            info_.dpi = {state_.X_density * scale, state_.Y_density * scale};
        }
        JOCTET* profile = nullptr;
        unsigned bytes = 0;
        bool found = false;
        check(guarded(errors_, [&] { found = jpeg_read_icc_profile(&state_, &profile, &bytes) != 0; }));
        if (found) {
            info_.icc.assign(profile, profile + bytes);
            std::free(profile);
        }
        for (auto* marker = state_.marker_list; marker != nullptr; marker = marker->next) {
            if (marker->marker != exifMarker || marker->data_length < exifHeadBytes) continue;
            if (std::memcmp(marker->data, exifHead, exifHeadBytes) != 0) continue;
            info_.orientation = orientationOf(marker->data + exifHeadBytes, marker->data_length - exifHeadBytes);
        }
    }

    void setColours() {
        switch (state_.jpeg_color_space) {
        case JCS_GRAYSCALE:
            info_.bands = 1;
            info_.encoding = Encoding::gray;
            state_.out_color_space = JCS_GRAYSCALE;
            return;
        case JCS_CMYK:
        case JCS_YCCK:
            info_.bands = 4;
            info_.encoding = Encoding::cmyk;
            state_.out_color_space = JCS_CMYK;
            // Files that carry Adobe's marker hold the inks inverted.
            inverted_ = state_.saw_Adobe_marker != 0;
            return;
        default:
            info_.bands = 3;
            info_.encoding = Encoding::rgb;
            state_.out_color_space = JCS_RGB;
        }
    }

    FileHandle file_;
    std::string path_;
    Errors errors_{};
    jpeg_decompress_struct state_{};
    bool inverted_ = false;
};

struct JpegWrite {
    Errors errors{};
    jpeg_compress_struct state{};

    JpegWrite() {
        prepare(errors);
        state.err = &errors.base;
        jpeg_create_compress(&state);
    }
    JpegWrite(const JpegWrite&) = delete;
    JpegWrite& operator=(const JpegWrite&) = delete;
    ~JpegWrite() { jpeg_destroy_compress(&state); }
};

void begin(jpeg_compress_struct& state, std::FILE* file, const PictureInfo& info, int quality) {
    jpeg_stdio_dest(&state, file);
    state.image_width = info.width;
    state.image_height = info.height;
    state.input_components = static_cast<int>(info.bands);
    state.in_color_space = info.bands == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&state);
    jpeg_set_quality(&state, quality, TRUE);
    // Full resolution for colours too: 4:4:4.
    state.comp_info[0].h_samp_factor = 1;
    state.comp_info[0].v_samp_factor = 1;
    if (info.dpi.x > 0) {
        state.density_unit = 1;
        state.X_density = static_cast<UINT16>(std::clamp(info.dpi.x + 0.5, 1.0, 65535.0));
        state.Y_density = static_cast<UINT16>(std::clamp(info.dpi.y + 0.5, 1.0, 65535.0));
    }
    jpeg_start_compress(&state, TRUE);
    if (!info.icc.empty()) jpeg_write_icc_profile(&state, info.icc.data(), static_cast<unsigned>(info.icc.size()));
}

void checkHolds(const std::string& path, const PictureInfo& info) {
    if (info.encoding == Encoding::grayAlpha || info.encoding == Encoding::rgba) {
        refuseToWrite(path, "JPEG holds no alpha; use --alpha drop or --background COLOUR");
    }
    const bool gray = info.bands == 1 && info.encoding != Encoding::palette;
    const bool rgb = info.bands == 3 && info.encoding == Encoding::rgb;
    if (info.type == ORV_BYTE && (gray || rgb)) return;
    if (gray || rgb) refuseToWrite(path, "JPEG holds 8 bits a sample; make them first (depth --to byte)");
    refuseToWrite(path, fmt::format("JPEG holds gray and rgb pictures, not {} of {} band{}; write TIFF",
                                    nameOf(info.encoding), info.bands, info.bands == 1 ? "" : "s"));
}

} // namespace

std::unique_ptr<Reader> openJpeg(FileHandle file, const std::string& path, const ReadOptions& options) {
    return std::make_unique<JpegReader>(std::move(file), path, options);
}

void writeJpeg(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options) {
    checkHolds(target.path(), info);
    JpegWrite out;
    const auto check = [&](bool good) {
        if (!good) refuseToWrite(target.path(), out.errors.text);
    };
    check(guarded(out.errors, [&] { begin(out.state, target.file(), info, options.quality); }));
    const RowLoad load(info, pixels, target.path(), false);
    std::vector<std::byte> row(rowBytes(info));
    for (unsigned y = 0; y < info.height; ++y) {
        load.get(y, row.data());
        auto* place = reinterpret_cast<JSAMPROW>(row.data());
        check(guarded(out.errors, [&] { jpeg_write_scanlines(&out.state, &place, 1); }));
    }
    check(guarded(out.errors, [&] { jpeg_finish_compress(&out.state); }));
}

} // namespace orv::files
