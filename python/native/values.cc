#include "values.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>
#include <pybind11/numpy.h>
#include <pybind11/operators.h>
#include <pybind11/stl.h>

#include "arrays.h"

namespace orv::python {

namespace {

using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

[[noreturn]] void refuse(const Operation& operation, const Parameter& parameter, py::handle came) {
    throw Error(std::string(operation.name),
                fmt::format("{}: {}: a {} came ({})", operation.name, pythonName(parameter),
                            std::string(py::str(py::type::handle_of(came).attr("__name__"))), parameter.help));
}

std::vector<double> numbersOf(py::handle object) {
    if (py::isinstance<py::float_>(object) || py::isinstance<py::int_>(object)) return {object.cast<double>()};
    const Doubles all = Doubles::ensure(object);
    if (!all) throw py::error_already_set();
    return {all.data(), all.data() + all.size()};
}

bool isNumber(py::handle object) {
    return py::isinstance<py::float_>(object) || py::isinstance<py::int_>(object) ||
           (py::hasattr(object, "__float__") && !py::hasattr(object, "__len__"));
}

struct Grid {
    unsigned width;
    unsigned height;
    std::vector<float> values;
};

Grid gridOf(py::handle object) {
    const Floats all = Floats::ensure(object);
    if (!all) throw py::error_already_set();
    if (all.ndim() != 2) throw Error("value", "an array of two axes wanted");
    return {static_cast<unsigned>(all.shape(1)),
            static_cast<unsigned>(all.shape(0)),
            {all.data(), all.data() + all.size()}};
}

/// Weights in an array, the key in its middle.
Kernel kernelOf(py::handle object) {
    Grid grid = gridOf(object);
    return {.width = grid.width,
            .height = grid.height,
            .keyX = grid.width / 2,
            .keyY = grid.height / 2,
            .taps = std::move(grid.values),
            .name = {}};
}

Element elementOf(py::handle object) {
    const Grid grid = gridOf(object);
    Element element{
        .width = grid.width, .height = grid.height, .keyX = grid.width / 2, .keyY = grid.height / 2, .members = {}};
    for (const float v : grid.values) element.members.push_back(v != 0 ? 1 : 0);
    return element;
}

Mask maskOf(py::handle object) {
    Grid grid = gridOf(object);
    return {.width = grid.width, .height = grid.height, .thresholds = std::move(grid.values), .screen = {}};
}

PaletteEntry entryOf(const double* row, py::ssize_t count) {
    const auto level = [&](py::ssize_t i) {
        if (!(row[i] >= 0 && row[i] <= 255))
            throw Error("palette", fmt::format("a level of {} came, 0 to 255 wanted", row[i]));
        return static_cast<std::uint8_t>(row[i]);
    };
    return {level(0), level(1), level(2), count > 3 ? level(3) : std::uint8_t{255}};
}

Palette paletteOf(py::handle object) {
    const Doubles rows = Doubles::ensure(object);
    if (!rows) throw py::error_already_set();
    if (rows.ndim() != 2 || (rows.shape(1) != 3 && rows.shape(1) != 4))
        throw Error("palette", "rows of R, G, B or of R, G, B, A wanted");
    Palette palette;
    for (py::ssize_t i = 0; i < rows.shape(0); ++i) palette.colours.push_back(entryOf(rows.data(i, 0), rows.shape(1)));
    return palette;
}

Table tableOf(py::handle object) {
    const py::array array = py::array::ensure(object);
    if (!array) throw py::error_already_set();
    if (array.ndim() != 1 && array.ndim() != 2) throw Error("table", "an array of one or two axes wanted");
    const bool bytes = array.dtype().kind() == 'u' && array.itemsize() == 1;
    const bool bits = array.dtype().kind() == 'b';
    Table table{.output = bits    ? Type::bit
                          : bytes ? Type::byte
                                  : Type::int16,
                .bands = array.ndim() == 2 ? static_cast<unsigned>(array.shape(1)) : 1,
                .first = 0,
                .samples = {}};
    for (const double v : numbersOf(array)) table.samples.push_back(static_cast<int>(v));
    return table;
}

std::vector<Point> pointsOf(py::handle object) {
    const Doubles rows = Doubles::ensure(object);
    if (!rows) throw py::error_already_set();
    const bool one = rows.ndim() == 1 && rows.size() == 2;
    if (!one && (rows.ndim() != 2 || rows.shape(1) != 2)) throw Error("points", "one (x, y) or rows of them wanted");
    std::vector<Point> points;
    for (py::ssize_t i = 0; i + 1 < rows.size(); i += 2) points.push_back({rows.data()[i], rows.data()[i + 1]});
    return points;
}

/// A sample type as a word: "uint8" and numpy.uint8 are "byte".
std::string typeWord(py::handle object) {
    if (py::isinstance<py::str>(object)) {
        const auto word = object.cast<std::string>();
        if (word == "bit" || word == "byte") return word;
    }
    const py::dtype type = py::dtype::from_args(py::reinterpret_borrow<py::object>(object));
    if (type.kind() == 'b') return "bit";
    if (type.kind() == 'u' && type.itemsize() == 1) return "byte";
    return "int16";
}

std::string textOf(const Parameter& parameter, py::handle object) {
    if (parameter.typeName == "Type") return typeWord(object);
    return object.cast<std::string>();
}

std::vector<Levels> coloursOf(py::handle object) {
    std::vector<Levels> all;
    const auto sequence = object.cast<py::sequence>();
    const bool one = sequence.size() > 0 && isNumber(sequence[0]);
    if (one) return {Levels(numbersOf(object))};
    for (const py::handle colour : sequence) all.emplace_back(numbersOf(colour));
    return all;
}

template <class T, class Make>
Value held(py::handle object, const Make& make) {
    if (py::isinstance<T>(object)) return object.cast<T>();
    return make(object);
}

/// What is neither text nor of another kind.
Value plainValue(Session& session, const Parameter& parameter, py::handle object) {
    switch (parameter.kind) {
    case Kind::number:
    case Kind::integer:
    case Kind::angle:
        return object.cast<double>();
    case Kind::flag:
        return object.cast<bool>() ? 1.0 : 0.0;
    case Kind::levels:
        return Levels(numbersOf(object));
    case Kind::factors:
    case Kind::numbers:
    case Kind::bits:
    case Kind::size:
        return numbersOf(object);
    case Kind::kernel:
    case Kind::brush:
    case Kind::diffusion:
        return held<Kernel>(object, kernelOf);
    case Kind::element:
        return held<Element>(object, elementOf);
    case Kind::palette:
        return held<Palette>(object, paletteOf);
    case Kind::mask:
        return held<Mask>(object, maskOf);
    case Kind::table:
        return held<Table>(object, tableOf);
    case Kind::points:
        return pointsOf(object);
    case Kind::colours:
        return coloursOf(object);
    case Kind::warp:
        return pictureOf(session, object, "other", ColourOrder::rgb).image.copy(session);
    default:
        return object.cast<std::string>();
    }
}

template <class T>
py::tuple stateOf(const T& v) {
    if constexpr (std::is_same_v<T, Kernel>) return py::make_tuple(v.width, v.height, v.keyX, v.keyY, v.taps, v.name);
    if constexpr (std::is_same_v<T, Element>) return py::make_tuple(v.width, v.height, v.keyX, v.keyY, v.members);
}

py::array_t<int> coloursArray(const Palette& palette) {
    py::array_t<int> rows(std::vector<py::ssize_t>{static_cast<py::ssize_t>(palette.colours.size()), 3});
    int* to = rows.mutable_data();
    for (const PaletteEntry& e : palette.colours) {
        for (const int v : {e.r, e.g, e.b}) *to++ = v;
    }
    return rows;
}

template <class T>
py::array gridArray(const std::vector<T>& values, unsigned width, unsigned height) {
    // A screen has no thresholds before the resolution is known.
    const py::ssize_t rows = values.empty() ? 0 : height;
    py::array_t<T> array(std::vector<py::ssize_t>{rows, width});
    std::ranges::copy(values, array.mutable_data());
    return array;
}

} // namespace

std::string pythonName(const Parameter& parameter) {
    if (parameter.typeName == "Type") return "dtype";
    std::string name(parameter.name);
    std::ranges::replace(name, '-', '_');
    return name == "from" ? "from_" : name;
}

Value valueOf(Session& session, const Operation& operation, const Parameter& parameter, py::handle object) {
    try {
        if (py::isinstance<py::str>(object) || parameter.typeName == "Type") return textOf(parameter, object);
        if (parameter.kind == Kind::choice || parameter.kind == Kind::text) refuse(operation, parameter, object);
        return plainValue(session, parameter, object);
    } catch (const Error& error) {
        if (error.op() == operation.name) throw;
        throw Error(std::string(operation.name),
                    fmt::format("{}: {}: {}", operation.name, pythonName(parameter), error.what()));
    } catch (const py::error_already_set&) {
        refuse(operation, parameter, object);
    } catch (const py::cast_error&) {
        refuse(operation, parameter, object);
    }
}

void bindValues(py::module_& module) {
    py::class_<Kernel>(module, "Kernel",
                       "Weights in rows, with the key: the element that lies on the pixel being made.")
        .def(py::init([](py::handle taps, std::optional<std::pair<unsigned, unsigned>> key) {
                 Kernel kernel = kernelOf(taps);
                 if (key) std::tie(kernel.keyX, kernel.keyY) = *key;
                 return kernel;
             }),
             py::arg("taps"), py::kw_only(), py::arg("key") = py::none())
        .def_static("parse", &Kernel::parse, py::arg("text"))
        .def_property_readonly("taps", [](const Kernel& k) { return gridArray(k.taps, k.width, k.height); })
        .def_property_readonly("key", [](const Kernel& k) { return std::pair(k.keyX, k.keyY); })
        .def_readonly("name", &Kernel::name)
        .def(py::self == py::self)
        .def("__repr__",
             [](const Kernel& k) { return fmt::format("<orv.Kernel {}x{} {}>", k.width, k.height, k.name); })
        .def(py::pickle([](const Kernel& k) { return stateOf(k); },
                        [](const py::tuple& t) {
                            return Kernel{t[0].cast<unsigned>(),           t[1].cast<unsigned>(),
                                          t[2].cast<unsigned>(),           t[3].cast<unsigned>(),
                                          t[4].cast<std::vector<float>>(), t[5].cast<std::string>()};
                        }));
    py::class_<Element>(module, "Element", "A structuring element in rows, with its key.")
        .def(py::init([](py::handle members, std::optional<std::pair<unsigned, unsigned>> key) {
                 Element element = elementOf(members);
                 if (key) std::tie(element.keyX, element.keyY) = *key;
                 return element;
             }),
             py::arg("members"), py::kw_only(), py::arg("key") = py::none())
        .def_static("parse", &Element::parse, py::arg("text"))
        .def_property_readonly("members", [](const Element& e) { return gridArray(e.members, e.width, e.height); })
        .def_property_readonly("key", [](const Element& e) { return std::pair(e.keyX, e.keyY); })
        .def(py::self == py::self)
        .def("__repr__", [](const Element& e) { return fmt::format("<orv.Element {}x{}>", e.width, e.height); })
        .def(py::pickle([](const Element& e) { return stateOf(e); },
                        [](const py::tuple& t) {
                            return Element{t[0].cast<unsigned>(), t[1].cast<unsigned>(), t[2].cast<unsigned>(),
                                           t[3].cast<unsigned>(), t[4].cast<std::vector<unsigned>>()};
                        }));
    py::class_<Palette>(module, "Palette", "Colours in the order R, G, B, or the steps of a colour cube.")
        .def(py::init(&paletteOf), py::arg("colors"))
        .def_static("parse", &Palette::parse, py::arg("text"))
        .def_property_readonly("colors", &coloursArray)
        .def_readonly("cube", &Palette::cube)
        .def_readonly("choose", &Palette::choose)
        .def("__len__", [](const Palette& p) { return p.colours.size(); })
        .def(py::self == py::self)
        .def("__repr__", [](const Palette& p) { return fmt::format("<orv.Palette of {} colors>", p.colours.size()); })
        .def(py::pickle(
            [](const Palette& p) {
                std::vector<std::tuple<int, int, int, int>> rows;
                for (const PaletteEntry& e : p.colours) rows.emplace_back(e.r, e.g, e.b, e.a);
                return py::make_tuple(rows, p.cube, p.choose);
            },
            [](const py::tuple& t) {
                Palette palette{{}, t[1].cast<std::vector<unsigned>>(), t[2].cast<unsigned>()};
                for (const auto& [r, g, b, a] : t[0].cast<std::vector<std::tuple<int, int, int, int>>>()) {
                    palette.colours.push_back({static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                                               static_cast<std::uint8_t>(b), static_cast<std::uint8_t>(a)});
                }
                return palette;
            }));
    py::class_<Mask>(module, "Mask", "Thresholds of an ordered dither, 0 to 1, in rows.")
        .def(py::init(&maskOf), py::arg("thresholds"))
        .def_static("parse", &Mask::parse, py::arg("text"))
        .def_property_readonly("thresholds", [](const Mask& m) { return gridArray(m.thresholds, m.width, m.height); })
        .def(py::self == py::self)
        .def(py::pickle(
            [](const Mask& m) {
                return py::make_tuple(m.width, m.height, m.thresholds, m.screen.lpi, m.screen.degrees);
            },
            [](const py::tuple& t) {
                return Mask{t[0].cast<unsigned>(),
                            t[1].cast<unsigned>(),
                            t[2].cast<std::vector<float>>(),
                            {t[3].cast<double>(), t[4].cast<double>()}};
            }));
    py::class_<Table>(module, "Table", "A table from samples to samples.")
        .def(py::init([](py::handle samples, int first) {
                 Table table = tableOf(samples);
                 table.first = first;
                 return table;
             }),
             py::arg("samples"), py::kw_only(), py::arg("first") = 0)
        .def_static("parse", &Table::parse, py::arg("text"))
        .def_property_readonly("samples",
                               [](const Table& t) {
                                   return gridArray(t.samples, t.bands,
                                                    static_cast<unsigned>(t.samples.size() / t.bands));
                               })
        .def_readonly("first", &Table::first)
        .def(py::self == py::self)
        .def(py::pickle(
            [](const Table& t) { return py::make_tuple(static_cast<int>(t.output), t.bands, t.first, t.samples); },
            [](const py::tuple& t) {
                return Table{static_cast<Type>(t[0].cast<int>()), t[1].cast<unsigned>(), t[2].cast<int>(),
                             t[3].cast<std::vector<int>>()};
            }));
    py::class_<Bits>(module, "Bits", "Packed bits, as numpy.packbits lays them, and the width in pixels.")
        .def(py::init([](py::array_t<std::uint8_t> packed, unsigned width) {
                 const py::ssize_t bytes = packed.ndim() < 2 ? 0 : packed.shape(packed.ndim() - 1);
                 if (packed.ndim() < 2 || packed.ndim() > 3 || bytes < (py::ssize_t{width} + 7) / 8 || width == 0 ||
                     packed.strides(packed.ndim() - 1) != 1) {
                     throw Error("Bits", "rows of packed bits (height, bytes) or (bands, height, bytes) wanted, long "
                                         "enough for the width");
                 }
                 return Bits{std::move(packed), width};
             }),
             py::arg("packed"), py::arg("width"))
        .def_readonly("packed", &Bits::packed)
        .def_readonly("width", &Bits::width)
        .def(py::pickle([](const Bits& b) { return py::make_tuple(b.packed, b.width); },
                        [](const py::tuple& t) {
                            return Bits{t[0].cast<py::array_t<std::uint8_t>>(), t[1].cast<unsigned>()};
                        }));
}

} // namespace orv::python
