#include "examples.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wordexp.h>

#include <fmt/format.h>

namespace orv::tool {

namespace {

namespace fs = std::filesystem;

double brightness(const Ink& ink) noexcept { return 0.299 * ink.r + 0.587 * ink.g + 0.114 * ink.b; }

/// An image whose samples a function of the place gives, in the order of memory.
template <class At>
Image filled(Session& session, unsigned width, unsigned height, unsigned bands, Type type, At at) {
    Image image(session, width, height, bands, type);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            for (unsigned b = 0; b < bands; ++b) image.setSample(x, y, b, at(x, y, b));
        }
    }
    image.samplesChanged();
    return image;
}

Image colour(Session& session, const Canvas& picture) { return picture.image(session); }

Image mirrored(Session& session, const Canvas& picture) {
    Canvas other(picture.width(), picture.height());
    for (unsigned y = 0; y < picture.height(); ++y) {
        for (unsigned x = 0; x < picture.width(); ++x) other.at(x, y) = picture.at(picture.width() - 1 - x, y);
    }
    return other.image(session);
}

Image page(Session& session, const Canvas& picture) {
    Image image = filled(session, picture.width(), picture.height(), 1, Type::bit,
                         [&](unsigned x, unsigned y, unsigned) { return brightness(picture.at(x, y)) >= 128 ? 1 : 0; });
    image.tags().dpi = {300, 300};
    return image;
}

Image grey(Session& session, const Canvas& picture) {
    return filled(session, picture.width(), picture.height(), 1, Type::byte, [&](unsigned x, unsigned y, unsigned) {
        return static_cast<int>(std::lround(brightness(picture.at(x, y))));
    });
}

/// Opaque in the middle, clear at the corners.
Image glow(Session& session, const Canvas& picture) {
    return filled(session, picture.width(), picture.height(), 1, Type::byte, [&](unsigned x, unsigned y, unsigned) {
        const double u = 2.0 * x / picture.width() - 1;
        const double v = 2.0 * y / picture.height() - 1;
        return static_cast<int>(255 * std::clamp(1.3 - std::hypot(u, v), 0.0, 1.0));
    });
}

Image cutOut(Session& session, const Canvas& picture) {
    const Image mask = glow(session, picture);
    return filled(session, picture.width(), picture.height(), 4, Type::byte, [&](unsigned x, unsigned y, unsigned b) {
        const Ink& ink = picture.at(x, y);
        return b == 3 ? mask.sample(x, y) : b == 2 ? int{ink.r} : b == 1 ? int{ink.g} : int{ink.b};
    });
}

Image centred(Session& session, const Canvas& picture) {
    return filled(session, picture.width(), picture.height(), 1, Type::int16, [&](unsigned x, unsigned y, unsigned) {
        return static_cast<int>(std::lround((brightness(picture.at(x, y)) - 127.5) * 200));
    });
}

Image counted(Session& session, const Canvas& picture) {
    return filled(session, picture.width(), picture.height(), 1, Type::int16, [&](unsigned x, unsigned y, unsigned) {
        return static_cast<int>(std::lround(brightness(picture.at(x, y)) * 16));
    });
}

Image inks(Session& session, const Canvas& picture) {
    Image image =
        filled(session, picture.width(), picture.height(), 4, Type::byte, [&](unsigned x, unsigned y, unsigned b) {
            const Ink& ink = picture.at(x, y);
            const int c[] = {255 - ink.r, 255 - ink.g, 255 - ink.b};
            return b == 3 ? 0 : c[b];
        });
    image.tags().encoding = Encoding::cmyk;
    return image;
}

Image small(Session& session, const Canvas& picture) { return picture.fitted(80, 80).image(session); }

struct Kind {
    std::string_view stem;
    Image (*make)(Session&, const Canvas&);
};

/// By the names that examples use, without digits at the end.
constexpr Kind kinds[] = {
    {"b", mirrored},     {"front", mirrored}, {"page", page},    {"scan", page},     {"plate", page},
    {"labels", grey},    {"red", grey},       {"green", grey},   {"blue", grey},     {"signed", centred},
    {"height", centred}, {"raw", counted},    {"dark", counted}, {"frame", counted}, {"inks", inks},
    {"cmyk", inks},      {"sep", inks},       {"mask", glow},    {"alpha", glow},    {"gray", grey},
    {"grey", grey},      {"cutout", cutOut},  {"logo", cutOut},  {"cell", grey},     {"tile", small},
    {"stamp", small},    {"brush", small},
};

void writeText(const std::string& name) {
    std::ofstream out(name);
    if (name.ends_with(".gpl")) {
        out << "GIMP Palette\nName: sixteen\n#\n";
        for (int i = 0; i < 16; ++i) {
            const int high = i & 8 ? 255 : 128;
            out << (i & 4   ? high
                    : i & 8 ? 64
                            : 0)
                << ' '
                << (i & 2   ? high
                    : i & 8 ? 64
                            : 0)
                << ' '
                << (i & 1   ? high
                    : i & 8 ? 64
                            : 0)
                << '\n';
        }
        return;
    }
    // A curve that lifts the dark levels.
    for (int i = 0; i < 256; ++i) out << std::lround(255 * std::pow(i / 255.0, 0.6)) << '\n';
}

std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

void redirect(int descriptor, const fs::path& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0) _exit(127);
    dup2(file, descriptor);
    close(file);
}

} // namespace

Words shellWords(const std::string& command) {
    wordexp_t expanded;
    if (wordexp(command.c_str(), &expanded, WRDE_NOCMD | WRDE_UNDEF) != 0)
        throw Error("demo", fmt::format("the command cannot be split into words: {}", command));
    Words words(expanded.we_wordv, expanded.we_wordv + expanded.we_wordc);
    wordfree(&expanded);
    return words;
}

Words inputsOf(const Words& words) {
    constexpr std::string_view endings[] = {".png", ".tif", ".tiff", ".jpg", ".jpeg", ".pnm",
                                            ".pgm", ".ppm", ".npy",  ".gpl", ".txt"};
    Words inputs;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "-o" || words[i] == "--output") {
            ++i;
            continue;
        }
        if (std::ranges::any_of(endings, [&](std::string_view e) { return words[i].ends_with(e); }))
            inputs.push_back(words[i]);
    }
    return inputs;
}

void makeInput(Session& session, const std::string& name, const Canvas& picture) {
    if (const std::size_t star = name.find('*'); star != std::string::npos) {
        for (const char digit : {'1', '2', '3'})
            makeInput(session, std::string(name).replace(star, 1, 1, digit), picture);
        return;
    }
    if (fs::exists(name)) return;
    const fs::path path(name);
    if (path.has_parent_path()) fs::create_directories(path.parent_path());
    if (name.ends_with(".gpl") || name.ends_with(".txt")) return writeText(name);
    std::string stem = path.stem();
    while (stem.size() > 1 && std::isdigit(static_cast<unsigned char>(stem.back())) != 0) stem.pop_back();
    if (stem.find_first_not_of("0123456789") == std::string::npos) stem = path.parent_path().filename();
    const auto* kind = std::ranges::find(kinds, stem, &Kind::stem);
    // A scan that is no TIFF has not been made black and white yet.
    if (stem == "scan" && path.extension() != ".tif") kind = std::ranges::find(kinds, "gray", &Kind::stem);
    session.write(kind == std::end(kinds) ? colour(session, picture) : kind->make(session, picture), name);
}

Ran runApart(const Words& words, const fs::path& folder) {
    const fs::path out = folder / ".printed";
    const fs::path complaint = folder / ".complaint";
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw Error("demo", "no process can be started");
    if (child == 0) {
        redirect(STDOUT_FILENO, out);
        redirect(STDERR_FILENO, complaint);
        if (chdir(folder.c_str()) != 0) _exit(127);
        const int status = perform(words);
        std::fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Ran ran{.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            .printed = contentOf(out),
            .complaint = contentOf(complaint)};
    fs::remove(out);
    fs::remove(complaint);
    return ran;
}

} // namespace orv::tool
