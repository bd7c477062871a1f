"""What pictures mean, on files that other programs wrote and read: encodings, 16 bits, polarity, alpha, resolution,
profiles, orientation, palettes."""

import struct
import subprocess
import unittest

from orv_files import FileTest, has

try:
    from PIL import Image, ImageCms
    import numpy
except ImportError:
    Image = None

needs_pillow = unittest.skipIf(Image is None, "Pillow or numpy is not installed")
needs_convert = unittest.skipUnless(has("convert"), "ImageMagick is not installed")
needs_tiff_tools = unittest.skipUnless(has("tiffinfo") and has("tiffcp"), "the libtiff tools are not installed")


def random_pixels(shape, top=256, dtype="uint8", seed=5):
    return numpy.random.default_rng(seed).integers(0, top, shape).astype(dtype)


class Pictures(FileTest):
    def array(self, name):
        with Image.open(self.path(name)) as image:
            return numpy.asarray(image)

    def told(self, name):
        return self.orv("info", name).stdout.decode()

    def numbers(self, name):
        self.orv("copy", name, "-o", "numbers.npy")
        return numpy.load(self.path("numbers.npy"))

    def equal(self, a, b):
        numpy.testing.assert_array_equal(a, b)


@needs_pillow
class Encodings(Pictures):
    def test_red_is_the_first_number(self):
        Image.new("RGB", (3, 2), (200, 100, 50)).save(self.path("in.png"))
        self.equal(self.numbers("in.png")[0, 0], [200, 100, 50])
        self.orv("add-const", "in.png", "-o", "out.png", "--value", "1,2,3")
        self.equal(self.array("out.png")[0, 0], [201, 102, 53])
        self.assertIn("201  102  53", " ".join(self.orv("extrema", "out.png").stdout.decode().split("  ")).replace(" ", "  "))
        self.orv("set-value", "-o", "flat.png", "--size", "2x2", "--value", "#ff8000")
        self.equal(self.array("flat.png")[0, 0], [255, 128, 0])

    def test_inks_keep_their_order_and_go_to_tiff(self):
        pixels = random_pixels((6, 7, 4))
        Image.fromarray(pixels, "CMYK").save(self.path("in.tif"))
        self.assertIn("cmyk", self.told("in.tif"))
        self.orv("copy", "in.tif", "-o", "out.tif")
        with Image.open(self.path("out.tif")) as out:
            self.assertEqual(out.mode, "CMYK")
        self.equal(self.array("out.tif"), pixels)
        self.refused("copy", "in.tif", "-o", "out.png", says=["cmyk", "TIFF"])

    def test_other_spaces_come_back_as_such(self):
        Image.fromarray(random_pixels((6, 7, 3))).save(self.path("in.png"))
        self.orv("color-convert", "in.png", "-o", "ycc.tif", "--to", "ycc601")
        self.assertIn("ycc601", self.told("ycc.tif"))
        self.refused("copy", "ycc.tif", "-o", "out.png", says=["ycc601"])
        self.orv("color-convert", "ycc.tif", "-o", "back.png", "--to", "rgb709")
        difference = numpy.abs(self.array("back.png").astype(int) - self.array("in.png"))
        self.assertLess(difference.max(), 6)

    def test_srgb_has_a_table_of_its_own(self):
        levels = numpy.arange(256, dtype=numpy.uint8).reshape(16, 16)
        Image.fromarray(numpy.dstack([levels] * 3)).save(self.path("in.png"))
        self.orv("depth", "in.png", "-o", "in16.png", "--to", "int16")
        self.orv("color-convert", "in16.png", "-o", "linear.tif", "--from", "srgb", "--to", "rgblinear")
        share = levels / 255.0
        want = numpy.where(share <= 0.04045, share / 12.92, ((share + 0.055) / 1.055) ** 2.4)
        got = self.numbers("linear.tif")[..., 0].view(numpy.uint16) / 65535.0
        self.assertLess(numpy.abs(got - want).max(), 1 / 65535)
        self.orv("color-convert", "linear.tif", "-o", "again16.png", "--to", "srgb")
        self.orv("depth", "again16.png", "-o", "again.png", "--to", "byte")
        self.equal(self.array("again.png"), self.array("in.png"))
        run = self.orv("color-convert", "in.png", "-o", "linear8.tif", "--from", "srgb", "--to", "rgblinear")
        self.assertIn(b"depth --to int16", run.stderr)
        # By way of linear light to every other space and back.
        self.orv("color-convert", "in16.png", "-o", "y.tif", "--from", "srgb", "--to", "ycc709")
        self.orv("color-convert", "y.tif", "-o", "rgb.png", "--to", "srgb")
        self.assertLess(numpy.abs(self.numbers("rgb.png").view(numpy.uint16).astype(int)
                                  - self.numbers("in16.png").view(numpy.uint16)).max(), 1200)


@needs_pillow
class Sixteen(Pictures):
    def test_the_ways_of_unsigned_pictures(self):
        pixels = numpy.array([[0, 1, 5000, 32767, 32768, 65535]], numpy.uint16)
        Image.fromarray(pixels).save(self.path("in.tif"))
        self.orv("copy", "in.tif", "-o", "out.tif")
        self.equal(self.array("out.tif"), pixels)
        self.refused("multiply-const", "in.tif", "-o", "out.png", "--value", "2", says=["--u16 exact, half or raw"])
        self.refused("copy", "in.tif", "-o", "out.png", "--u16", "exact", says=["32767"])
        self.orv("multiply-const", "in.tif", "-o", "half.tif", "--value", "1", "--u16", "half")
        self.equal(self.array("half.tif"), pixels // 2 * 2)
        self.orv("not", "in.tif", "-o", "raw.tif", "--u16", "raw")
        self.equal(self.array("raw.tif"), ~pixels)
        Image.fromarray(pixels // 4).save(self.path("camera.tif"))
        self.orv("multiply-const", "camera.tif", "-o", "twice.tif", "--value", "2", "--u16", "exact")
        self.equal(self.array("twice.tif"), pixels // 4 * 2)

    def test_levels_are_in_the_units_of_the_file(self):
        Image.fromarray(numpy.full((4, 4), 40000, numpy.uint16)).save(self.path("in.tif"))
        told = self.orv("extrema", "in.tif").stdout.decode().split()
        self.assertEqual(told, ["min", "40000", "max", "40000"])
        self.orv("threshold", "in.tif", "-o", "out.tif", "--low", "39999", "--high", "40001", "--map", "50%")
        self.assertLessEqual(abs(int(self.array("out.tif")[0, 0]) - 32767), 1)

    def test_signed_tiff_holds_numbers(self):
        numpy.save(self.path("in.npy"), numpy.array([[-32768, -1, 0, 32767]], numpy.int16))
        self.orv("copy", "in.npy", "-o", "out.tif")
        self.equal(self.array("out.tif").astype(numpy.int64).astype(numpy.int16), numpy.load(self.path("in.npy")))
        self.refused("copy", "out.tif", "-o", "out.png", says=["negative"])

    def test_floats_are_refused_with_advice(self):
        Image.fromarray(numpy.zeros((3, 3), numpy.float32)).save(self.path("in.tif"))
        self.refused("copy", "in.tif", "-o", "out.png", says=["in.tif", "float", "--map LOW:HIGH"])
        self.refused("copy", "in.tif", "-o", "out.png", "--map", "1:1", status=2, says=["--map", "LOW:HIGH wanted"])

    def test_floats_are_mapped(self):
        values = numpy.array([[-1.0, 0.0, 0.25, 1.0], [9.0, numpy.nan, 0.5, numpy.inf]])
        want = numpy.array([[0, 0, 16384, 65535], [65535, 0, 32768, 65535]])
        Image.fromarray(values.astype(numpy.float32)).save(self.path("in.tif"))
        for name, dtype in (("a.npy", "<f4"), ("b.npy", ">f4"), ("c.npy", "<f8"), ("d.npy", ">f8")):
            numpy.save(self.path(name), values.astype(dtype))
        for name in ("in.tif", "a.npy", "b.npy", "c.npy", "d.npy"):
            with self.subTest(name):
                self.orv("copy", name, "-o", "out.tif", "--map", "0:1")
                self.equal(self.array("out.tif"), want)
        self.orv("copy", "a.npy", "-o", "turned.tif", "--map", "1:0")
        self.assertEqual(int(self.array("turned.tif")[0, 3]), 0)

    @needs_tiff_tools
    def test_floats_in_strips_and_tiles(self):
        values = random_pixels((40, 50, 3), 1000).astype(numpy.float32)
        numpy.save(self.path("in.npy"), values)
        self.orv("copy", "in.npy", "-o", "want.tif", "--map", "0:999")
        self.float_tiff("in.tif", values)
        self.float_tiff("planes.tif", values, planes=True)
        subprocess.run(["tiffcp", "-t", "-w", "16", "-l", "16", self.path("in.tif"), self.path("x.tif")], check=True)
        for name in ("in.tif", "planes.tif", "x.tif"):
            self.orv("copy", name, "-o", "out.tif", "--map", "0:999")
            self.orv("compare", "out.tif", "want.tif")

    def float_tiff(self, name, values, planes=False):
        """A TIFF of three bands of floats: of one strip, or of one a band."""
        height, width, bands = values.shape
        data = (values.transpose(2, 0, 1) if planes else values).astype("<f4").tobytes()
        strips = bands if planes else 1
        size = len(data) // strips
        lists = {258: (3, [32] * bands), 339: (3, [3] * bands), 273: (4, [8 + i * size for i in range(strips)]),
                 279: (4, [size] * strips)}
        entries = {256: (4, 1, width), 257: (4, 1, height), 259: (3, 1, 1), 262: (3, 1, 2), 277: (3, 1, bands),
                   278: (4, 1, height), 284: (3, 1, 2 if planes else 1)}
        more = b""
        for tag, (kind, numbers) in lists.items():
            place = numbers[0] if len(numbers) == 1 else 8 + len(data) + len(more)
            entries[tag] = (kind, len(numbers), place)
            if len(numbers) > 1:
                more += struct.pack(f"<{len(numbers)}{'H' if kind == 3 else 'I'}", *numbers)
        out = b"II*\0" + struct.pack("<I", 8 + len(data) + len(more)) + data + more + struct.pack("<H", len(entries))
        out += b"".join(struct.pack("<HHII", tag, *entries[tag]) for tag in sorted(entries)) + struct.pack("<I", 0)
        (self.folder / name).write_bytes(out)


@needs_pillow
class Bits(Pictures):
    def setUp(self):
        super().setUp()
        self.white = random_pixels((9, 21), 2).astype(bool)

    def test_white_is_set_in_memory(self):
        for name, more in (("in.png", {}), ("in.tif", {}), ("g4.tif", {"compression": "group4"})):
            Image.fromarray(self.white).save(self.path(name), **more)
            self.equal(self.numbers(name), self.white)

    @needs_tiff_tools
    def test_the_two_polarities_of_tiff(self):
        Image.fromarray(self.white).save(self.path("black.tif"), tiffinfo={262: 1})
        self.orv("copy", "black.tif", "-o", "g4.tif")
        self.assertIn("min-is-white", subprocess.run(["tiffinfo", self.path("g4.tif")], capture_output=True, text=True).stdout)
        self.equal(self.array("g4.tif"), self.white)
        self.orv("copy", "g4.tif", "-o", "none.tif", "--compression", "none")
        self.equal(self.array("none.tif"), self.white)
        self.orv("copy", "g4.tif", "-o", "raw.npy", "--polarity", "raw")
        self.equal(numpy.load(self.path("raw.npy")).astype(bool), ~self.white)
        for order in ("lsb2msb", "msb2lsb"):
            subprocess.run(["tiffcp", "-f", order, "-c", "none", self.path("g4.tif"), self.path("order.tif")], check=True)
            self.equal(self.numbers("order.tif"), self.white)

    def test_what_grows_is_told(self):
        white = numpy.zeros((9, 9), bool)
        white[4, 4] = True
        Image.fromarray(white).save(self.path("in.png"))
        Image.fromarray(~white).save(self.path("hole.png"))
        self.orv("dilate", "in.png", "-o", "grown.png", "--element", "rect:3")
        self.assertEqual(int(self.array("grown.png").sum()), 9)
        self.orv("dilate", "hole.png", "-o", "black.png", "--element", "rect:3", "--of", "black")
        self.assertEqual(int((~self.array("black.png")).sum()), 9)
        self.orv("erode", "hole.png", "-o", "gone.png", "--element", "rect:3", "--of", "black")
        self.assertTrue(self.array("gone.png").all())


@needs_pillow
class Alpha(Pictures):
    def test_it_is_a_band_that_comes_back(self):
        for mode, bands in (("LA", 2), ("RGBA", 4)):
            pixels = random_pixels((5, 8, bands))
            Image.fromarray(pixels, mode).save(self.path("in.png"))
            for ending in ("png", "tif"):
                with self.subTest(mode=mode, ending=ending):
                    self.orv("copy", "in.png", "-o", f"out.{ending}")
                    with Image.open(self.path(f"out.{ending}")) as out:
                        self.assertEqual(out.mode, mode)
                    self.equal(self.array(f"out.{ending}"), pixels)
            self.orv("not", "in.png", "-o", "not.png")
            self.equal(self.array("not.png")[..., -1], pixels[..., -1])
            self.equal(self.array("not.png")[..., :-1], 255 - pixels[..., :-1])
            self.refused("copy", "in.png", "-o", "out.jpg", says=["--background"], output="out.jpg")
            self.orv("copy", "in.png", "-o", "dropped.jpg", "--alpha", "drop")

    def test_it_is_taken_off_or_laid_on_a_colour(self):
        pixels = numpy.zeros((2, 2, 4), numpy.uint8)
        pixels[0] = (10, 20, 30, 255)
        Image.fromarray(pixels, "RGBA").save(self.path("in.png"))
        self.orv("copy", "in.png", "-o", "out.png", "--background", "#ff8000")
        self.equal(self.array("out.png")[:, 0], [[10, 20, 30], [255, 128, 0]])
        self.orv("copy", "in.png", "-o", "out.png", "--alpha", "drop")
        self.equal(self.array("out.png")[:, 0], [[10, 20, 30], [0, 0, 0]])
        self.refused("nearest-color", "in.png", "-o", "few.png", "--palette", "cube:2", says=["--background"],
                     output="few.png")


@needs_pillow
class Resolution(Pictures):
    def setUp(self):
        super().setUp()
        Image.fromarray(random_pixels((30, 40, 3))).save(self.path("in.png"), dpi=(300, 150))

    def dpi(self, name):
        with Image.open(self.path(name)) as image:
            return tuple(round(float(v)) for v in image.info["dpi"])

    def test_it_goes_with_the_picture(self):
        runs = {
            ("copy",): (300, 150), ("blur",): (300, 150), ("transpose", "--flip", "90"): (150, 300),
            ("transpose", "--flip", "y"): (300, 150), ("scale", "--by", "2"): (600, 300),
            ("scale", "--by", "1/2,2"): (150, 300), ("subsample-adaptive", "--by", "0.5"): (150, 75),
            ("resize", "--size", "20x30"): (150, 150), ("resize", "--dpi", "600"): (600, 600),
            ("gray",): (300, 150), ("rotate-fit", "--degrees", "90"): (150, 300),
        }
        for (operation, *flags), want in runs.items():
            for ending in ("png", "tif"):
                with self.subTest(operation=operation, flags=flags, ending=ending):
                    self.orv(operation, "in.png", "-o", f"out.{ending}", *flags)
                    self.assertEqual(self.dpi(f"out.{ending}"), want)

    def test_a_flag_overrides_it(self):
        for ending in ("png", "tif", "jpg"):
            self.orv("copy", "in.png", "-o", f"out.{ending}", "--dpi", "72,96")
            self.assertEqual(self.dpi(f"out.{ending}"), (72, 96))

    def test_tiff_in_centimetres(self):
        Image.fromarray(random_pixels((4, 4))).save(self.path("cm.tif"), tiffinfo={282: 100.0, 283: 50.0, 296: 3})
        self.orv("copy", "cm.tif", "-o", "out.png")
        self.assertEqual(self.dpi("out.png"), (254, 127))


@needs_pillow
class Profiles(Pictures):
    def setUp(self):
        super().setUp()
        self.profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        Image.fromarray(random_pixels((8, 8, 3))).save(self.path("in.png"), icc_profile=self.profile)

    def kept(self, name):
        with Image.open(self.path(name)) as image:
            return image.info.get("icc_profile")

    def test_it_stays_while_the_space_does_and_is_dropped_with_a_line(self):
        for words in (("add-const", "--value", "3"), ("rotate", "--degrees", "9"), ("resize", "--by", "2"), ("blur",)):
            run = self.orv(words[0], "in.png", "-o", "out.png", *words[1:])
            self.assertEqual((self.kept("out.png"), run.stderr), (self.profile, b""), words)
        for words in (("color-convert", "--to", "rgblinear"), ("color-convert", "--to", "srgb"), ("gray",)):
            run = self.orv(words[0], "in.png", "-o", "out.tif", *words[1:])
            self.assertNotIn(self.profile, (self.folder / "out.tif").read_bytes(), words)
            self.assertIn(b"profile", run.stderr)

    def test_it_changes_no_sample(self):
        Image.fromarray(self.array("in.png")).save(self.path("plain.png"))
        self.orv("compare", "in.png", "plain.png")


@needs_pillow
class Orientation(Pictures):
    def test_photographs_stand_upright(self):
        turns = {2: lambda a: a[:, ::-1], 3: lambda a: a[::-1, ::-1], 4: lambda a: a[::-1], 5: lambda a: a.swapaxes(0, 1),
                 6: lambda a: numpy.rot90(a, -1), 7: lambda a: numpy.rot90(a, 2).swapaxes(0, 1), 8: numpy.rot90}
        for orientation, turn in turns.items():
            image = Image.fromarray(random_pixels((16, 24, 3)))
            exif = image.getexif()
            exif[0x0112] = orientation
            image.save(self.path("in.jpg"), exif=exif, dpi=(300, 150))
            self.orv("copy", "in.jpg", "-o", "kept.png", "--orient", "keep")
            self.orv("copy", "in.jpg", "-o", "upright.png")
            self.equal(self.array("upright.png"), turn(self.array("kept.png")))
            with Image.open(self.path("upright.png")) as upright:
                self.assertEqual(round(upright.info["dpi"][0]), 150 if orientation > 4 else 300)
                self.assertNotIn(0x0112, upright.getexif())


@needs_pillow
class Palettes(Pictures):
    def setUp(self):
        super().setUp()
        self.colours = [0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 8, 7]
        self.indices = numpy.arange(64, dtype=numpy.uint8).reshape(8, 8) % 5
        image = Image.fromarray(self.indices, "P")
        image.putpalette(self.colours)
        image.save(self.path("in.png"))
        image.save(self.path("in.tif"))

    def test_indices_stay_through_what_only_moves_pixels(self):
        for source in ("in.png", "in.tif"):
            for words, want in (((("copy",)), self.indices), (("transpose", "--flip", "diagonal"), self.indices.T),
                                (("scale", "--by", "2", "--interpolation", "nearest"),
                                 self.indices.repeat(2, 0).repeat(2, 1))):
                for ending in ("png", "tif"):
                    with self.subTest(source=source, words=words, ending=ending):
                        self.orv(words[0], source, "-o", f"out.{ending}", *words[1:])
                        with Image.open(self.path(f"out.{ending}")) as out:
                            self.assertEqual((out.mode, out.getpalette()[:15]), ("P", self.colours))
                        self.equal(self.array(f"out.{ending}"), want)

    def test_they_become_colours_with_a_note(self):
        run = self.orv("blur", "in.png", "-o", "out.png")
        self.assertIn(b"became rgb", run.stderr)
        with Image.open(self.path("out.png")) as out:
            self.assertEqual(out.mode, "RGB")

    def test_quantisers_write_the_palette_that_they_were_given(self):
        (self.folder / "three.gpl").write_text("GIMP Palette\n#\n255 0 0\n0 255 0\n0 0 255\n")
        Image.new("RGB", (3, 3), (250, 4, 9)).save(self.path("red.png"))
        self.orv("nearest-color", "red.png", "-o", "out.png", "--palette", "three.gpl")
        with Image.open(self.path("out.png")) as out:
            self.assertEqual((out.mode, out.convert("RGB").getpixel((1, 1))), ("P", (255, 0, 0)))

    @needs_convert
    def test_two_and_four_bits_become_bytes(self):
        for depth in (2, 4):
            top = 2**depth - 1
            pixels = random_pixels((6, 9), top + 1) * (255 // top)
            Image.fromarray(pixels.astype(numpy.uint8)).save(self.path("gray.png"))
            subprocess.run(["convert", self.path("gray.png"), "-define", f"png:bit-depth={depth}", self.path("in.png")],
                           check=True)
            self.assertEqual((self.folder / "in.png").read_bytes()[24], depth)
            self.equal(self.numbers("in.png"), pixels)


@needs_pillow
class Fusing(Pictures):
    def test_what_may_differ_runs_as_one_only_when_asked(self):
        Image.fromarray(random_pixels((20, 30))).save(self.path("in.png"))
        steps = ["--", "convolve", "--kernel", "box:5x1", "--edge", "zero", ":", "convolve",
                 "--kernel", "box:1x5", "--edge", "zero"]
        calls = {}
        for way in ("exact", "all", "off"):
            run = self.orv("pipe", "in.png", "-o", f"{way}.png", "--fuse", way, "--explain", *steps)
            calls[way] = len(run.stderr.splitlines())
        self.assertEqual(calls, {"exact": 2, "all": 1, "off": 2})
        self.equal(self.array("exact.png"), self.array("off.png"))
        difference = numpy.abs(self.array("all.png").astype(int) - self.array("off.png"))
        self.assertLessEqual(difference[2:-2, 2:-2].max(), 2)


class Unwritable(FileTest):
    def test_what_a_format_cannot_hold_is_told_in_one_line(self):
        """Pictures of every type and number of bands to every format: written, or refused with a way out."""
        for kind in ("bit", "byte", "int16"):
            for bands in (1, 2, 3, 4, 5):
                self.orv("set-value", "-o", "in.tif", "--size", "9x5", "--value", "1", "--bands", bands, "--type", kind)
                for ending in ("png", "tif", "jpg", "pnm", "npy"):
                    with self.subTest(kind=kind, bands=bands, ending=ending):
                        run = subprocess.run([self.program, "copy", "in.tif", "-o", f"out.{ending}"], cwd=self.folder,
                                             capture_output=True, text=True)
                        if run.returncode == 0:
                            self.orv("compare", "in.tif", f"out.{ending}", "--max-diff", 1)
                            (self.folder / f"out.{ending}").unlink()
                            continue
                        self.assertEqual((run.returncode, run.stderr.count("\n")), (1, 1), run.stderr)
                        self.assertRegex(run.stderr, r"^orv: cannot write out\.\w+: (PNG|JPEG|PNM|it has|npy)")
                        self.assertFalse((self.folder / f"out.{ending}").exists())
        self.orv("set-value", "-o", "rgb.png", "--size", "9x5", "--value", "1,200,9")
        self.refused("depth", "rgb.png", "-o", "out.png", "--to", "bit", says=["one band alone", "TIFF"])

    @property
    def program(self):
        from orv_files import ORV
        return ORV


if __name__ == "__main__":
    unittest.main()
