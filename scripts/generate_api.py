#!/usr/bin/env python3
"""Writes the typed C++ functions, host/include/orv/Operations.h, from the catalogue.

    scripts/generate_api.py ORV [FILE]     ORV is the tool; FILE is compared and not written with --check
"""

import json
import pathlib
import subprocess
import sys
import textwrap

HEADER = pathlib.Path(__file__).resolve().parent.parent / "host" / "include" / "orv" / "Operations.h"
WIDTH = 120

HEAD = """// The operations as typed functions. Written by scripts/generate_api.py; changes belong into the catalogue.
//
// Each comes in four forms: one that returns what it makes, one that writes a given image (then no image is made), and
// the same two with try_ before the name, which return how it went instead of throwing. What is left out of the options
// has the catalogue's default.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "orv/OperationsBase.h"

namespace orv {
"""

# What a kind of parameter is in C++: the type, and whether an empty value of it can stand for "not given".
KINDS = {
    "number": ("double", False), "integer": ("long", False), "angle": ("double", False), "flag": ("bool", False),
    "levels": ("Levels", True), "factors": ("Numbers", True), "numbers": ("Numbers", True), "bits": ("Numbers", True),
    "size": ("Size", True), "kernel": ("Kernel", True), "element": ("Element", True), "palette": ("Palette", True),
    "mask": ("Mask", True), "table": ("Table", True), "points": ("std::vector<Point>", True),
    "text": ("std::string", True), "colours": ("std::vector<Levels>", True), "brush": ("Kernel", True),
    "diffusion": ("Kernel", True), "warp": ("Warp", True),
}
# Types that exist already.
OWN_TYPES = {"Type"}
# Words of the language that are names of operations or parameters.
RESERVED = {"and", "or", "not", "xor", "auto"}

# What operations give: the type, and what of the result it is.
GIVES = {
    "image": ("Image", "{}.image"), "images": ("std::vector<Image>", "{}.images"),
    "palette": ("Palette", "taken({}.palette)"), "table": ("Table", "taken({}.table)"), "measurements": ("Measurements", "Measurements({}.measurements)"),
}


def camel(name, first_upper=False):
    head, *rest = name.replace("-", "_").split("_")
    return (head.capitalize() if first_upper else head) + "".join(part.capitalize() for part in rest)


def member(parameter):
    return safe(camel(parameter["name"]))


def safe(name):
    return name + "_" if name in RESERVED else name


def enumerator(parameter, word):
    name = camel(word)
    return camel(parameter["name"]) + name if name[0].isdigit() else name


def comment(text, indent=""):
    lead = indent + "/// "
    return "\n".join(lead + line for line in textwrap.wrap(text, WIDTH - len(lead))) + "\n"


def type_of(parameter):
    """The type and the value it has by itself."""
    if parameter["kind"] == "choice":
        kind, empty = parameter["type"], False
        value = f"{kind}::{enumerator(parameter, parameter['default'])}" if "default" in parameter else None
    else:
        kind, empty = KINDS[parameter["kind"]]
        value = parameter.get("default")
        if parameter["kind"] == "flag":
            value = str(value == "yes").lower()
    if empty:
        return kind, "{}"
    return (kind, value) if value is not None else (f"std::optional<{kind}>", "{}")


def enums(operations):
    seen = {}
    text = ""
    for parameter in (p for o in operations for p in o["parameters"] if p["kind"] == "choice"):
        name = parameter["type"]
        if name in OWN_TYPES:
            continue
        choices = parameter["choices"]
        if seen.setdefault(name, choices) != choices:
            raise SystemExit(f"two sets of choices are called {name}")
        if seen[name] is not choices:
            continue
        text += f"\nenum class {name} {{\n"
        for choice in choices:
            help_text = f" ///< {choice['help']}" if choice["help"] else ""
            text += f"    {enumerator(parameter, choice['word'])} = {choice['value']},{help_text}\n"
        text += "};\n"
    return text


def options(operation):
    parameters = operation["parameters"]
    if not parameters:
        return ""
    text = f"\n/// Of {operation['function']}().\nstruct {operation['options']} {{\n"
    for parameter in parameters:
        kind, value = type_of(parameter)
        said = parameter["help"]
        if not parameter["optional"]:
            said += " (must be given)"
        elif value == "{}" and "default" in parameter:
            said += f" (default {parameter['default']})"
        text += comment(said, "    ") + f"    {kind} {member(parameter)} = {value};\n"
    where = "that are looked at" if operation["gives"] != "image" else "of the result that are written"
    text += comment(f"Pixels {where}; all where there is no rectangle.", "    ")
    text += "    std::vector<Rectangle> roi = {};\n"
    adds = "".join(f'\n            .add("{p["name"]}", {member(p)})' for p in parameters)
    return text + f"\n    Arguments arguments() const {{\n        return GivenOptions(){adds}\n            .take();\n    }}\n}};\n"


def sources_of(operation):
    """Parameters of the C++ function, and what is handed on."""
    count = operation["sources"]
    if operation["most_sources"] > count:
        return ["std::span<const Image> sources"], "sources"
    names = ["source"] if count == 1 else ["a", "b", "c"][:count]
    if operation["last_source"]:
        names[-1] = operation["last_source"]
    return [f"const Image& {name}" for name in names], "Sources{" + ", ".join(names) + "}"


def function(operation):
    parameters, sources = sources_of(operation)
    must = any(not p["optional"] for p in operation["parameters"])
    takes_options = f"const {operation['options']}& options" + ("" if must else " = {}")
    given = ", ".join([*parameters, takes_options])
    names = ", ".join(p.split()[-1].lstrip("&") for p in [*parameters, "options"])
    kind, part = GIVES[operation["gives"]]
    name, row = operation["function"], operation["name"]
    call = f'run("{row}", {sources}, options.arguments(), options.roi)'
    details = " " + operation["details"] if operation["details"] else ""
    summary = operation["help"][0].upper() + operation["help"][1:] + "." + details
    text = "\n" + comment(summary, "    ")
    text += f"    {kind} {name}({given}) {{\n        return {part.format(call)};\n    }}\n"
    text += (f"    Outcome<{kind}> try_{row}({given}) noexcept {{\n"
             f"        return tried([&] {{ return {name}({names}); }});\n    }}\n")
    if operation["gives"] != "image":
        return text
    given = ", ".join([*parameters, "const Image& destination", takes_options])
    names = ", ".join(p.split()[-1].lstrip("&") for p in [*parameters, "destination", "options"])
    text += (f"    void {name}({given}) {{\n"
             f'        write("{row}", {sources}, destination, options.arguments(), options.roi);\n    }}\n')
    text += (f"    Status try_{row}({given}) noexcept {{\n"
             f"        return tried([&] {{ {name}({names}); }});\n    }}\n")
    return text


def header(operations):
    for operation in operations:
        operation["function"] = safe(operation["name"])
        operation["options"] = camel(operation["name"], True) + "Options" if operation["parameters"] else "PlainOptions"
    text = HEAD + enums(operations) + "".join(options(o) for o in operations)
    text += "\n/// What a session can do.\nclass Operations : protected OperationsBase {\npublic:\n"
    text += "".join(function(o) for o in operations).replace("\n", "", 1)
    text += "\nprotected:\n    Operations() = default;\n    ~Operations() = default;\n};\n\n} // namespace orv\n"
    return text


def formatted(text):
    run = subprocess.run(["clang-format", f"--assume-filename={HEADER}"], input=text, capture_output=True, text=True,
                         check=True)
    return run.stdout


if __name__ == "__main__":
    check = "--check" in sys.argv
    orv, *rest = [word for word in sys.argv[1:] if word != "--check"]
    file = pathlib.Path(rest[0]) if rest else HEADER
    rows = json.loads(subprocess.run([orv, "list", "--json"], capture_output=True, check=True).stdout)
    made = formatted(header(rows))
    if not check:
        file.write_text(made)
    elif file.read_text() != made:
        sys.exit(f"{file} is not what the catalogue says; run scripts/generate_api.py build/release/bin/orv")
