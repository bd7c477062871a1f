// The native part of the Python package: the catalogue, calls of its operations on arrays, files.

#include <mutex>
#include <optional>

#include <fmt/format.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "arrays.h"
#include "values.h"

namespace orv::python {

namespace {

/// One device a process. Never taken down: the interpreter may end before arrays that share its samples do.
Session& session() {
    static auto* const one = new Session;
    return *one;
}

/// Keeps calls of several threads apart, which wait without holding the interpreter.
std::mutex& oneCall() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

template <class Work>
auto withoutInterpreter(const Work& work) {
    const py::gil_scoped_release released;
    const std::lock_guard lock(oneCall());
    return work();
}

ColourOrder orderNamed(const std::string& name) {
    if (name == "rgb") return ColourOrder::rgb;
    if (name == "bgr") return ColourOrder::bgr;
    throw Error("order", fmt::format("'{}' came, rgb or bgr wanted", name));
}

/// What the bands of an array mean to an operation, where the caller does not say.
std::string encodingFor(const Operation& operation, const Arguments& arguments, std::string encoding) {
    if (!encoding.empty()) return encoding;
    if (!operation.encodings.empty()) return std::string(nameOf(operation.encodings.front()));
    for (const Argument& argument : arguments) {
        const auto* space = std::get_if<std::string>(&argument.value);
        if (argument.name == "from" && space != nullptr && *space != "rgb709" && *space != "rgblinear") return *space;
    }
    return {};
}

std::vector<Rectangle> rectanglesOf(const py::object& roi) {
    std::vector<Rectangle> all;
    if (roi.is_none()) return all;
    const auto sequence = roi.cast<py::sequence>();
    const bool one = sequence.size() == 4 && !py::isinstance<py::sequence>(sequence[0]);
    const auto rectangle = [](py::handle h) {
        const auto [x, y, w, height] = h.cast<std::tuple<long, long, unsigned, unsigned>>();
        return Rectangle{x, y, w, height};
    };
    if (one) return {rectangle(roi)};
    for (const py::handle h : sequence) all.push_back(rectangle(h));
    return all;
}

Arguments argumentsOf(const Operation& operation, const py::tuple& values) {
    Arguments arguments;
    for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
        const Parameter& parameter = operation.parameters[i];
        if (values[i].is_none()) continue;
        arguments.push_back({std::string(parameter.name), valueOf(session(), operation, parameter, values[i])});
    }
    return arguments;
}

void warn(const Operation& operation, const Result& result) {
    for (const std::string& warning : result.warnings) {
        const std::string text = fmt::format("{}: {}", operation.name, warning);
        if (PyErr_WarnEx(PyExc_RuntimeWarning, text.c_str(), 2) != 0) throw py::error_already_set();
    }
}

py::object measured(const Result& result) {
    py::dict all;
    for (const Measurement& m : result.measurements)
        all[py::str(m.name)] = py::array_t<double>(static_cast<py::ssize_t>(m.values.size()), m.values.data());
    return all;
}

struct Look {
    bool threeAxes = false;
    bool packed = false;
    ColourOrder order = ColourOrder::rgb;
};

py::object objectOf(const Operation& operation, const Result& result, const Look& look) {
    if (operation.givesImage) return arrayOf(session(), result.image, look.threeAxes, look.packed, look.order);
    switch (operation.instead) {
    case Instead::images: {
        py::list all;
        for (const Image& image : result.images) all.append(arrayOf(session(), image, false, look.packed, look.order));
        return all;
    }
    case Instead::palette:
        return py::cast(*result.palette);
    case Instead::table:
        return py::cast(*result.table);
    default:
        return measured(result);
    }
}

/// An array without pixels gives one without pixels, of the shape and type that the operation makes.
py::object callOnNothing(const py::object& again, const py::tuple& sources) {
    constexpr int side = 64;
    const py::module_ numpy = py::module_::import("numpy");
    py::tuple stand(sources.size());
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const auto array = sources[i].cast<py::array>();
        py::list shape;
        shape.append(side);
        shape.append(side);
        for (py::ssize_t axis = 2; axis < array.ndim(); ++axis)
            shape.append(std::max<py::ssize_t>(array.shape(axis), 1));
        stand[i] = numpy.attr("zeros")(shape, array.dtype());
    }
    const py::object made = again(stand);
    if (!py::isinstance<py::array>(made)) return made;
    const py::slice none(0, 0, 1);
    return made[py::make_tuple(none, none)];
}

py::object call(const std::string& name, const py::tuple& given, const py::tuple& values, const py::object& roi,
                const py::object& out, const std::string& encoding, const std::string& orderName) {
    const Operation& operation = operationNamed(name);
    if (given.size() > 0 && isEmpty(given[0])) {
        const auto again = py::cpp_function([&](const py::tuple& sources) {
            return call(name, sources, values, py::none(), py::none(), encoding, orderName);
        });
        return callOnNothing(again, given);
    }
    const Arguments arguments = argumentsOf(operation, values);
    const std::string meaning = encodingFor(operation, arguments, encoding);
    const ColourOrder order = orderNamed(orderName);
    std::vector<Picture> pictures;
    std::vector<Image> images;
    Look look{.order = order};
    for (const py::handle object : given) {
        pictures.push_back(pictureOf(session(), object, pictures.empty() ? meaning : encoding, order));
        images.push_back(pictures.back().image);
        look.packed = look.packed || pictures.back().packed;
    }
    look.threeAxes = !pictures.empty() && pictures.front().threeAxes && !pictures.front().packed &&
                     pictures.front().image.bands() == 1;
    CallOptions options{.roi = rectanglesOf(roi)};
    std::optional<Picture> destination;
    if (!out.is_none()) {
        destination = destinationOf(session(), out, {}, order);
        options.destination = destination->image;
    }
    const Result result =
        withoutInterpreter([&] { return session().apply(operation.name, images, arguments, options); });
    warn(operation, result);
    if (!destination) return objectOf(operation, result, look);
    copyBack(*destination, out);
    return out;
}

/// A step: the operation, the values of its parameters by their places, named further sources, the name of its result.
using StepRow = std::tuple<std::string, py::tuple, std::vector<std::string>, std::string>;

Fuse fuseNamed(const std::string& name) {
    if (name == "exact") return Fuse::exact;
    if (name == "all") return Fuse::all;
    if (name == "off") return Fuse::off;
    throw Error("fuse", fmt::format("'{}' came, exact, all or off wanted", name));
}

py::object runPipeline(const std::vector<StepRow>& steps, const py::tuple& given, const std::string& fuse,
                       const py::object& out) {
    Pipeline pipeline(session());
    pipeline.fuse(fuseNamed(fuse));
    for (const auto& [name, values, with, kept] : steps) {
        pipeline.then(name, argumentsOf(operationNamed(name), values), with);
        if (!kept.empty()) pipeline.as(kept);
    }
    if (steps.empty()) throw Error("pipe", "there are no steps");
    std::vector<Picture> pictures;
    std::vector<Image> images;
    for (const py::handle object : given) {
        pictures.push_back(pictureOf(session(), object, {}, ColourOrder::rgb));
        images.push_back(pictures.back().image);
    }
    CallOptions options;
    std::optional<Picture> destination;
    if (!out.is_none()) {
        destination = destinationOf(session(), out, {}, ColourOrder::rgb);
        options.destination = destination->image;
    }
    const Operation& last = operationNamed(std::get<0>(steps.back()));
    const Result result = withoutInterpreter([&] { return pipeline.run(images, options); });
    warn(last, result);
    if (!destination) return objectOf(last, result, {});
    copyBack(*destination, out);
    return out;
}

// Files. --------------------------------------------------------------------------------------------------------------

Image pictureIn(const std::string& path, const std::string& sixteen) {
    ReadOptions options;
    options.sixteen = sixteen == "exact"  ? Sixteen::number
                      : sixteen == "half" ? Sixteen::half
                      : sixteen == "raw"  ? Sixteen::raw
                                          : Sixteen::shifted;
    return withoutInterpreter([&] {
        Image image = session().read(path, options);
        if (image.encoding() != Encoding::palette) return image;
        // Arrays have no palette: an operation that needs the colours makes them.
        return session().apply("rescale", std::span(&image, 1), {}, {.alphaAsBand = true}).image;
    });
}

py::object readFile(const std::string& path, const std::string& order, const std::string& sixteen) {
    const ColourOrder wanted = orderNamed(order);
    return arrayOf(session(), pictureIn(path, sixteen), false, false, wanted);
}

void writeFile(const std::string& path, const py::object& array, const std::string& order, const std::string& encoding,
               const std::optional<Palette>& palette, const std::optional<std::pair<double, double>>& dpi, int quality,
               const std::string& compression, const std::string& format) {
    Picture picture = pictureOf(session(), array, encoding, orderNamed(order));
    Tags& tags = picture.image.tags();
    if (palette) {
        tags.encoding = Encoding::palette;
        tags.palette = palette->colours;
    }
    if (dpi) tags.dpi = {dpi->first, dpi->second};
    withoutInterpreter([&] {
        session().write(picture.image, path, {.format = format, .quality = quality, .compression = compression});
        return 0;
    });
}

// The catalogue, for the program that writes the functions. -----------------------------------------------------------

py::dict describe(const Blocks& blocks) {
    constexpr std::string_view reaches[] = {"picture", "pixel", "window", "place"};
    py::dict row;
    row["reach"] = std::string(reaches[static_cast<std::size_t>(blocks.reach)]);
    row["margin"] = blocks.margin;
    row["parameter"] = std::string(blocks.parameter);
    row["times"] = blocks.times;
    row["unless"] = std::string(blocks.unless);
    row["why"] = std::string(blocks.why);
    return row;
}

py::dict describe(const Operation& operation) {
    py::list parameters;
    for (const Parameter& p : operation.parameters) {
        py::list choices;
        for (const Choice& choice : p.choices) choices.append(std::string(choice.word));
        py::dict row;
        row["name"] = pythonName(p);
        row["kind"] = std::string(nameOf(p.kind));
        row["help"] = std::string(p.help);
        row["fallback"] = std::string(p.fallback);
        row["optional"] = p.optional;
        row["positional"] = p.positional;
        row["choices"] = choices;
        parameters.append(row);
    }
    py::dict row;
    row["name"] = std::string(operation.name);
    row["help"] = std::string(operation.help);
    row["details"] = std::string(operation.details);
    row["group"] = std::string(operation.group);
    row["sources"] = operation.sources;
    row["most_sources"] = operation.mostSources;
    row["last_source"] = std::string(operation.lastSource);
    row["gives_image"] = operation.givesImage;
    constexpr std::string_view instead[] = {"measurements", "images", "palette", "table"};
    row["instead"] = std::string(instead[static_cast<std::size_t>(operation.instead)]);
    row["bands_meet"] = operation.bandsMeet;
    row["recipe"] = operation.body != nullptr;
    row["premultiplied"] = operation.alpha == Alpha::premultiplied;
    row["blocks"] = describe(operation.blocks);
    row["parameters"] = parameters;
    return row;
}

py::list describeAll() {
    py::list all;
    for (const Operation* operation : catalogue()) all.append(describe(*operation));
    return all;
}

void bindErrors(py::module_& module) {
    static py::handle type;
    type = PyErr_NewExceptionWithDoc("orv.Error", "A call that was refused or that failed; .op and .id say which.",
                                     PyExc_RuntimeError, nullptr);
    module.attr("Error") = type;
    py::register_exception_translator([](std::exception_ptr caught) {
        try {
            if (caught) std::rethrow_exception(caught);
        } catch (const Error& error) {
            py::object made = type(error.what());
            made.attr("op") = error.op();
            made.attr("id") = error.id();
            PyErr_SetObject(type.ptr(), made.ptr());
        }
    });
}

} // namespace

} // namespace orv::python

PYBIND11_MODULE(_native, module) {
    using namespace orv::python;
    namespace py = pybind11;
    bindErrors(module);
    bindValues(module);
    module.def("call", &call);
    module.def("run_pipeline", &runPipeline);
    module.def("read", &readFile);
    module.def("write", &writeFile);
    module.def("catalogue", &describeAll);
    module.def("build", [] { return session().build(); });
    module.def("named_kernel", &orv::Kernel::parse);
    module.def("named_brush", &orv::Brush::parse);
    module.def("named_diffusion", &orv::Diffusion::parse);
    module.attr("__version__") = std::string(orv::version());
}
