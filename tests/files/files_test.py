"""Picture files: round trips, files by other programs, and files that mean harm."""

import os
import random
import struct
import subprocess
import unittest
import zlib

from orv_files import ORV, FileTest, has

try:
    from PIL import Image
    import numpy
except ImportError:
    Image = None

needs_pillow = unittest.skipIf(Image is None, "Pillow or numpy is not installed")
needs_convert = unittest.skipUnless(has("convert"), "ImageMagick is not installed")
needs_tiff_tools = unittest.skipUnless(has("tiffcp"), "the libtiff tools are not installed")


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(width, height, depth, colour, rows=b"", extra=()):
    head = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, 0)
    parts = [chunk(b"IHDR", head), *(chunk(k, d) for k, d in extra), chunk(b"IDAT", zlib.compress(rows)),
             chunk(b"IEND", b"")]
    return b"\x89PNG\r\n\x1a\n" + b"".join(parts)


def tiff(entries, data=b""):
    """A little-endian TIFF with one directory; `entries` are (tag, type, value); the data stands at byte 8."""
    directory = 8 + len(data) + len(data) % 2
    out = b"II*\0" + struct.pack("<I", directory) + data + b"\0" * (len(data) % 2)
    out += struct.pack("<H", len(entries))
    for tag, kind, value in sorted(entries):
        out += struct.pack("<HHI", tag, kind, 1) + (struct.pack("<HH", value, 0) if kind == 3 else struct.pack("<I", value))
    return out + struct.pack("<I", 0)


class RoundTrips(FileTest):
    def test_every_type_through_every_format_that_holds_it(self):
        for kind, endings in {"bit": ("png", "tif", "pnm", "npy"), "byte": ("png", "tif", "pnm", "npy"),
                              "short": ("png", "tif", "pnm", "npy")}.items():
            self.orv("chart", "-o", f"{kind}.tif", "--type", kind, "--size", "37x23")
            want = self.orv("hash", f"{kind}.tif").stdout.split()[0]
            for ending in endings:
                with self.subTest(kind=kind, ending=ending):
                    self.orv("copy", f"{kind}.tif", "-o", f"x.{ending}")
                    self.assertEqual(self.orv("hash", f"x.{ending}").stdout.split()[0], want)

    def test_every_compression_of_tiff(self):
        for kind in ("bit", "byte", "short"):
            self.orv("chart", "-o", f"{kind}.png", "--type", kind, "--size", "61x17")
            for way in ("none", "lzw", "deflate", "packbits") + (("g4",) if kind == "bit" else ()):
                with self.subTest(kind=kind, way=way):
                    self.orv("copy", f"{kind}.png", "-o", "x.tif", "--compression", way)
                    self.orv("compare", f"{kind}.png", "x.tif")
        self.refused("copy", "byte.png", "-o", "out.tif", "--compression", "g4", says=["out.tif"], output="out.tif")

    def test_equal_pictures_give_equal_files(self):
        self.orv("chart", "-o", "c.png", "--size", "30x20")
        for ending in ("png", "tif", "jpg", "pnm", "npy"):
            self.orv("copy", "c.png", "-o", f"one.{ending}")
            self.orv("copy", "c.png", "-o", f"two.{ending}")
            self.assertEqual((self.folder / f"one.{ending}").read_bytes(), (self.folder / f"two.{ending}").read_bytes())

    def test_resolution_is_kept_and_set(self):
        self.orv("chart", "-o", "c.png", "--size", "30x20")
        for ending in ("png", "tif", "jpg"):
            self.orv("copy", "c.png", "-o", f"c.{ending}" if ending != "png" else "d.png", "--dpi", "300")
            name = "d.png" if ending == "png" else f"c.{ending}"
            self.orv("copy", name, "-o", "again.tif")
            self.assertIn(b"300 dpi", self.orv("info", "again.tif").stdout)


@needs_pillow
class Pillow(FileTest):
    def array(self, name):
        return numpy.asarray(Image.open(self.path(name)))

    def test_modes_both_ways(self):
        rng = numpy.random.default_rng(3)
        for mode, shape in {"L": (9, 13), "RGB": (9, 13, 3)}.items():
            pixels = rng.integers(0, 256, shape, dtype=numpy.uint8)
            for ending in ("png", "tif", "ppm"):
                with self.subTest(mode=mode, ending=ending):
                    Image.fromarray(pixels, mode).save(self.path(f"in.{ending}"))
                    self.orv("copy", f"in.{ending}", "-o", f"out.{ending}")
                    numpy.testing.assert_array_equal(self.array(f"out.{ending}"), pixels)

    def test_black_and_white(self):
        pixels = numpy.random.default_rng(4).integers(0, 2, (11, 19)).astype(bool)
        for ending in ("png", "tif"):
            Image.fromarray(pixels).save(self.path(f"in.{ending}"))
            self.orv("copy", f"in.{ending}", "-o", f"out.{ending}")
            numpy.testing.assert_array_equal(self.array(f"out.{ending}"), pixels)
            self.orv("copy", f"in.{ending}", "-o", "out.npy")
        Image.fromarray(pixels).save(self.path("g4.tif"), compression="group4")
        self.orv("copy", "g4.tif", "-o", "out.png")
        numpy.testing.assert_array_equal(self.array("out.png"), pixels)
        self.orv("copy", "g4.tif", "-o", "out.tif", "--compression", "g4")
        numpy.testing.assert_array_equal(self.array("out.tif"), pixels)

    def test_unsigned_sixteen_bits(self):
        pixels = numpy.random.default_rng(5).integers(0, 65536, (7, 12), dtype=numpy.uint16)
        for ending in ("png", "tif"):
            Image.fromarray(pixels.astype(numpy.int32) if ending == "png" else pixels).save(self.path(f"in.{ending}"))
            self.orv("copy", f"in.{ending}", "-o", f"out.{ending}")
            numpy.testing.assert_array_equal(self.array(f"out.{ending}").astype(numpy.uint16), pixels)

    def test_palettes_keep_their_indices(self):
        image = Image.fromarray(numpy.arange(64, dtype=numpy.uint8).reshape(8, 8) % 5, "P")
        image.putpalette([0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 8, 7])
        image.save(self.path("in.png"))
        self.orv("copy", "in.png", "-o", "out.png")
        out = Image.open(self.path("out.png"))
        self.assertEqual(out.mode, "P")
        numpy.testing.assert_array_equal(numpy.asarray(out.convert("RGB")), numpy.asarray(image.convert("RGB")))

    def test_orientation_turns_the_picture_upright(self):
        from PIL import ImageOps
        base = numpy.random.default_rng(6).integers(0, 256, (4, 7, 3), dtype=numpy.uint8)
        for orientation in range(1, 9):
            for ending in ("png", "tif"):
                with self.subTest(orientation=orientation, ending=ending):
                    image = Image.fromarray(base)
                    exif = image.getexif()
                    exif[0x0112] = orientation
                    if ending == "tif":
                        image.save(self.path("in.tif"), tiffinfo={0x0112: orientation})
                    else:
                        image.save(self.path("in.png"), exif=exif)
                    image = Image.fromarray(base)
                    image.getexif()[0x0112] = orientation
                    want = numpy.asarray(ImageOps.exif_transpose(image))
                    self.orv("copy", f"in.{ending}", "-o", "out.ppm")
                    numpy.testing.assert_array_equal(self.array("out.ppm"), want)
                    self.orv("copy", f"in.{ending}", "-o", "kept.ppm", "--orient", "keep")
                    numpy.testing.assert_array_equal(self.array("kept.ppm"), base)

    def test_bits_are_turned_upright_too(self):
        base = numpy.random.default_rng(8).integers(0, 2, (5, 11)).astype(bool)
        turned = {2: base[:, ::-1], 3: base[::-1, ::-1], 6: numpy.rot90(base, -1), 8: numpy.rot90(base), 5: base.T}
        for orientation, want in turned.items():
            Image.fromarray(base).save(self.path("in.tif"), tiffinfo={0x0112: orientation})
            self.orv("copy", "in.tif", "-o", "out.png")
            numpy.testing.assert_array_equal(self.array("out.png"), want)

    def test_profiles_are_kept(self):
        from PIL import ImageCms
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        Image.new("RGB", (4, 4), (1, 2, 3)).save(self.path("in.png"), icc_profile=profile)
        for ending in ("png", "tif", "jpg"):
            self.orv("not", "in.png", "-o", f"out.{ending}")
            with Image.open(self.path(f"out.{ending}")) as out:
                self.assertEqual(out.info.get("icc_profile"), profile)

    def test_jpeg_is_near(self):
        pixels = numpy.asarray(Image.linear_gradient("L").resize((64, 64)))
        Image.fromarray(pixels).save(self.path("in.png"))
        self.orv("copy", "in.png", "-o", "out.jpg")
        self.assertLess(numpy.abs(self.array("out.jpg").astype(int) - pixels).max(), 6)

    def test_arrays(self):
        for dtype in (numpy.uint8, numpy.int16, numpy.uint16):
            array = numpy.random.default_rng(9).integers(0, 30000 if dtype != numpy.uint8 else 256, (5, 6, 3)).astype(dtype)
            numpy.save(self.path("in.npy"), array)
            self.orv("copy", "in.npy", "-o", "out.npy")
            out = numpy.load(self.path("out.npy"))
            self.assertEqual(out.dtype, array.dtype)
            numpy.testing.assert_array_equal(out, array)
        numpy.save(self.path("float.npy"), numpy.zeros((3, 3), numpy.float32))
        self.refused("copy", "float.npy", "-o", "out.png", says=["float.npy"])


@needs_convert
class ImageMagick(FileTest):
    def test_kinds_of_png_and_tiff(self):
        kinds = {
            "gray.png": ["-colorspace", "Gray"], "rgb16.png": ["-depth", "16"], "interlaced.png": ["-interlace", "PNG"],
            "palette.png": ["-colors", "13", "-type", "Palette"], "bits.png": ["-monochrome"],
            "lzw.tif": ["-compress", "LZW"], "zip.tif": ["-compress", "Zip"], "rle.tif": ["-compress", "RLE"],
            "g4.tif": ["-monochrome", "-compress", "Group4"], "msb.tif": ["-endian", "MSB"],
            "deep.tif": ["-depth", "16"], "whiteless.tif": ["-monochrome", "-define", "quantum:polarity=min-is-white"],
        }
        self.orv("chart", "-o", "c.png", "--size", "57x41")
        for name, flags in kinds.items():
            with self.subTest(name):
                subprocess.run(["convert", self.path("c.png"), *flags, self.path(name)], check=True, capture_output=True)
                self.orv("copy", name, "-o", "out.png")
                run = subprocess.run(["compare", "-metric", "AE", self.path("out.png"), self.path(name), "null:"],
                                     capture_output=True)
                self.assertEqual(run.returncode, 0, run.stderr)


@needs_tiff_tools
class TiffTools(FileTest):
    def test_layouts_by_tiffcp(self):
        for kind in ("bit", "byte", "short"):
            self.orv("chart", "-o", f"{kind}.tif", "--type", kind, "--size", "70x50")
            for flags in (["-t", "-w", "16", "-l", "32"], ["-r", "7"], ["-B"], ["-L"], ["-f", "lsb2msb"],
                          ["-c", "lzw"], ["-c", "zip"], ["-8"], ["-p", "separate"]):
                # tiffcp takes planes apart for bytes alone.
                if "separate" in flags and kind != "byte":
                    continue
                with self.subTest(kind=kind, flags=flags):
                    subprocess.run(["tiffcp", *flags, self.path(f"{kind}.tif"), self.path("x.tif")], check=True,
                                   capture_output=True)
                    self.orv("compare", f"{kind}.tif", "x.tif")

    def test_tiffinfo_reads_what_orv_writes(self):
        for kind in ("bit", "byte", "short"):
            self.orv("chart", "-o", f"{kind}.tif", "--type", kind, "--size", "70x50")
            run = subprocess.run(["tiffinfo", "-D", self.path(f"{kind}.tif")], capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stderr), (0, ""))


class Hostile(FileTest):
    def harmless(self, name):
        """The file is read or refused with one line; nothing else."""
        with open(self.path("said"), "w+b") as said:
            process = subprocess.Popen([ORV, "not", name, "-o", "out.npy", "--max-pixels", "100000"], cwd=self.folder,
                                       stdout=said, stderr=said)
            _, status, used = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            said.seek(0)
            text = said.read()
        self.assertIn(process.returncode, (0, 1), (name, process.returncode, text[-300:]))
        if not os.environ.get("ORV_SANITIZE"):
            self.assertLess(used.ru_maxrss, 100 * 1024, f"{name} took {used.ru_maxrss} KiB")
        if process.returncode == 1:
            self.assertEqual(text.count(b"\n"), 1, text)
            self.assertFalse((self.folder / "out.npy").exists())
        else:
            os.remove(self.folder / "out.npy")
        return process.returncode

    def made(self):
        for ending in ("png", "tif", "jpg", "ppm", "npy"):
            self.orv("chart", "-o", f"c.{ending}", "--size", "9x7")
            yield ending, (self.folder / f"c.{ending}").read_bytes()

    def test_cut_short_anywhere(self):
        for ending, data in self.made():
            step = max(1, len(data) // 60)
            for end in [*range(0, min(len(data), 24)), *range(24, len(data), step)]:
                with self.subTest(ending=ending, end=end):
                    (self.folder / f"x.{ending}").write_bytes(data[:end])
                    self.harmless(f"x.{ending}")

    def test_flipped_bytes(self):
        rng = random.Random(11)
        for ending, data in self.made():
            for _ in range(40):
                broken = bytearray(data)
                for _ in range(rng.randrange(1, 4)):
                    broken[rng.randrange(len(broken))] = rng.randrange(256)
                (self.folder / f"x.{ending}").write_bytes(broken)
                self.harmless(f"x.{ending}")

    def test_sizes(self):
        big = 2**31 - 1
        files = {
            "huge.png": png(big, big, 8, 2), "none.png": png(0, 5, 8, 2),
            "short.png": png(50, 50, 8, 0, b"\0" * 20),
            "badpalette.png": png(4, 1, 8, 3, b"\0\x09\x09\x09\x09", [(b"PLTE", bytes(6))]),
            "nopalette.png": png(4, 1, 8, 3, b"\0\0\0\0\0"),
            "huge.tif": tiff([(256, 4, 2**32 - 1), (257, 4, 2**32 - 1), (258, 3, 8), (259, 3, 1), (262, 3, 1),
                              (273, 4, 8), (277, 3, 1), (278, 4, 1), (279, 4, 4)], b"\0" * 4),
            "none.tif": tiff([(256, 4, 0), (257, 4, 3), (258, 3, 8), (262, 3, 1), (273, 4, 8)], b"\0" * 4),
            "tiles.tif": tiff([(256, 4, 3), (257, 4, 3), (258, 3, 8), (259, 3, 1), (262, 3, 1), (277, 3, 1),
                               (322, 4, 32768), (323, 4, 32768), (324, 4, 8), (325, 4, 4)], b"\0" * 4),
            "manybands.tif": tiff([(256, 4, 300), (257, 4, 300), (258, 3, 8), (259, 3, 1), (262, 3, 1), (273, 4, 8),
                                   (277, 3, 60000), (278, 4, 300), (279, 4, 4)], b"\0" * 4),
            "bands.tif": tiff([(256, 4, 3), (257, 4, 3), (258, 3, 8), (262, 3, 1), (273, 4, 8), (277, 3, 65535)]),
            "huge.ppm": b"P6\n99999999999 99999999999\n255\n", "minus.pgm": b"P5\n-3 4\n255\n",
            "none.pgm": b"P5\n0 0\n255\n", "most.pgm": b"P5\n2 2\n99999\n\0\0\0\0", "words.pgm": b"P5\n" + b"#" * 9999,
            "huge.npy": b"\x93NUMPY\x01\0" + struct.pack("<H", 80)
                        + b"{'descr': '|u1', 'fortran_order': False, 'shape': (99999999, 99999999)}".ljust(80),
        }
        for name, data in files.items():
            with self.subTest(name):
                (self.folder / name).write_bytes(data)
                status = self.harmless(name)
                if name != "badpalette.png":
                    self.assertEqual(status, 1)


if __name__ == "__main__":
    unittest.main()
