// What programs do with orv, in the order of docs/cpp.md: tour IN OUT
#include <cstdint>
#include <iostream>
#include <vector>

#include <orv/orv.h>

namespace {

/// Operations return what they make; options are named, and what is left out has its default.
orv::Image softAndDark(orv::Session& session, const orv::Image& photo) {
    const orv::Image soft =
        session.convolve(photo, {.kernel = orv::Kernel::gaussian(5, 1.0), .edge = orv::Edge::extend});
    return session.subtract(soft, session.set_value({.value = {10, 20, 30}, .size = {soft.width(), soft.height()}}));
}

/// A loop that makes no image: the destination is given, and only some rows of it are written.
void everyOtherRow(orv::Session& session, const orv::Image& photo, const orv::Image& into) {
    std::vector<orv::Rectangle> lanes;
    for (unsigned y = 0; y < photo.height(); y += 2) lanes.push_back({0, static_cast<long>(y), photo.width(), 1});
    session.not_(photo, into, {.roi = lanes});
}

/// Memory of one's own is worked on where it lies: here 16-bit numbers, rows of 100.
bool callersMemory(orv::Session& session) {
    std::vector<std::int16_t> heights(100 * 80, -5);
    const orv::Image view =
        orv::Image::view(session, 100, 80, 1, orv::Type::int16,
                         {.data = reinterpret_cast<std::byte*>(heights.data()), .stride = 200, .pixel = 2});
    session.absolute(view, view);
    return heights.front() == 5 && heights.back() == 5;
}

/// Measurements are values.
bool isDark(orv::Session& session, const orv::Image& photo) {
    const orv::Measurements found = session.extrema(photo);
    return found["max"].front() < 128;
}

/// Where exceptions are not wanted: try_ forms return how it went.
bool refusedWithoutThrowing(orv::Session& session, const orv::Image& photo) {
    const orv::Outcome<orv::Image> wrong = session.try_convolve(photo, {.kernel = orv::Kernel::box(4001)});
    if (wrong) return false;
    std::cout << wrong.status.op() << " said: " << wrong.status.what() << '\n';
    return true;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: tour IN OUT\n";
        return 2;
    }
    try {
        orv::Session session({.notices = [](std::string_view line) { std::cout << line << '\n'; }});
        const orv::Image photo = session.read(arguments[1]);
        const orv::Image dark = softAndDark(session, photo);
        const orv::Image striped = dark.copy(session);
        everyOtherRow(session, photo, striped);
        if (!callersMemory(session) || !refusedWithoutThrowing(session, photo)) return 1;
        std::cout << (isDark(session, striped) ? "dark" : "bright") << '\n';
        const orv::Image few = session.error_diffusion(striped, {.palette = orv::Palette::choosing(16)});
        session.write(few, arguments[2]);
    } catch (const orv::Error& error) {
        std::cerr << error.op() << ": " << error.what() << '\n';
        return 1;
    }
}
