"""The orv tool, end to end on files: what it makes, and how it refuses."""

import json
import os
import pathlib
import pty
import random
import signal
import struct
import subprocess
import time
import unittest

from orv_files import ORV, FileTest, orv, plain_build

SOURCE = pathlib.Path(os.environ["ORV_SOURCE_DIR"])


class Add(FileTest):
    def test_bytes_in_every_format_add_up_and_saturate(self):
        rng = random.Random(7)
        a = [rng.randrange(256) for _ in range(5 * 4 * 3)]
        b = [rng.randrange(256) for _ in range(5 * 4 * 3)]
        self.ppm("a.ppm", 5, 4, a)
        self.ppm("b.ppm", 5, 4, b)
        for ending in ("png", "tif", "ppm", "npy"):
            with self.subTest(ending):
                self.orv("copy", "a.ppm", "-o", f"a.{ending}")
                self.orv("copy", "b.ppm", "-o", f"b.{ending}")
                self.orv("add", f"a.{ending}", f"b.{ending}", "-o", f"sum.{ending}")
                self.assertEqual(self.samples(f"sum.{ending}"), (5, 4, 3, [min(x + y, 255) for x, y in zip(a, b)]))

    def test_signed_shorts_add_up_and_saturate(self):
        def npy(name, values):
            head = "{'descr': '<i2', 'fortran_order': False, 'shape': (2, 3), }".ljust(117) + "\n"
            data = b"\x93NUMPY\x01\x00" + struct.pack("<H", len(head)) + head.encode() + struct.pack("<6h", *values)
            (self.folder / name).write_bytes(data)

        npy("a.npy", [1, -2, 30000, -30000, 0, 7])
        npy("b.npy", [5, -7, 30000, -30000, -1, 8])
        for ending in ("npy", "tif"):
            with self.subTest(ending):
                self.orv("copy", "a.npy", "-o", f"a.{ending}")
                self.orv("add", f"a.{ending}", "b.npy", "-o", f"sum.{ending}")
                self.orv("copy", f"sum.{ending}", "-o", "sum.npy")
                self.assertEqual(struct.unpack("<6h", (self.folder / "sum.npy").read_bytes()[-12:]),
                                 (6, -9, 32767, -32768, -1, 15))

    def test_unsigned_sixteen_bits_keep_their_values(self):
        self.ppm("a.pgm", 3, 1, [1, 2, 300], most=65535)
        self.ppm("b.pgm", 3, 1, [10, 20, 30], most=65535)
        self.refused("add", "a.pgm", "b.pgm", "-o", "out.png", says=["--u16"])
        self.orv("add", "a.pgm", "b.pgm", "-o", "sum.png", "--u16", "exact")
        self.assertEqual(self.samples("sum.png"), (3, 1, 1, [11, 22, 330]))

    def test_bits(self):
        self.orv("chart", "-o", "a.png", "--type", "bit", "--size", "19x5")
        self.orv("xor", "a.png", "a.png", "-o", "none.tif")
        self.assertEqual(self.samples("none.tif")[3], [0] * 95)

    def test_a_roi_alone_is_written(self):
        self.ppm("a.ppm", 4, 3, [9] * 36)
        self.orv("add", "a.ppm", "a.ppm", "-o", "sum.png", "--roi", "1,1,2,1", "--roi", "3,2,1,1")
        got = self.samples("sum.png")[3]
        self.assertEqual([got[3 * i] == 18 for i in range(12)], [i in (5, 6, 11) for i in range(12)])


class Refusals(FileTest):
    def setUp(self):
        super().setUp()
        self.ppm("rgb.ppm", 6, 4, [3] * 72)
        self.ppm("small.ppm", 5, 4, [3] * 60)
        self.ppm("gray.pgm", 6, 4, [3] * 24)
        self.orv("chart", "-o", "bits.png", "--type", "bit", "--size", "6x4")

    def test_unlike_pictures(self):
        self.refused("add", "rgb.ppm", "small.ppm", "-o", "out.png", says=["add", "5 x 4", "6 x 4"])
        self.refused("add", "rgb.ppm", "gray.pgm", "-o", "out.png", says=["1 band", "3 bands"])
        self.refused("add", "gray.pgm", "bits.png", "-o", "out.png", says=["bit", "byte"])

    def test_files_that_are_missing_damaged_or_cut_short(self):
        self.refused("add", "rgb.ppm", "none.png", "-o", "out.png", says=["none.png"])
        (self.folder / "junk.png").write_bytes(b"\x89PNG\r\n\x1a\n" + bytes(40))
        self.refused("add", "rgb.ppm", "junk.png", "-o", "out.png", says=["junk.png"])
        self.orv("copy", "rgb.ppm", "-o", "whole.png")
        data = (self.folder / "whole.png").read_bytes()
        (self.folder / "cut.png").write_bytes(data[:len(data) - 20])
        self.refused("add", "rgb.ppm", "cut.png", "-o", "out.png", says=["cut.png"])
        (self.folder / "empty.tif").write_bytes(b"")
        self.refused("add", "rgb.ppm", "empty.tif", "-o", "out.png", says=["empty.tif"])

    def test_words(self):
        self.refused("ad", "rgb.ppm", "rgb.ppm", "-o", "out.png", status=2, says=["did you mean 'add'"])
        self.refused("add", "rgb.ppm", "rgb.ppm", "-o", "out.png", "--qualty", "3", status=2,
                     says=["--qualty", "did you mean '--quality'"])
        self.refused("add-const", "rgb.ppm", "-o", "out.png", "--value", "much", status=2, says=["value", "much"])
        self.refused("add-const", "rgb.ppm", "-o", "out.png", status=2, says=["--value is missing"])
        self.refused("blur", "rgb.ppm", "-o", "out.png", "--sigma", "-1", status=2, says=["sigma", "wanted"])
        self.refused("rotate", "rgb.ppm", "-o", "out.png", "--degrees", "4", "--interpolation", "bicubik", status=2,
                     says=["did you mean 'bicubic'"])
        self.refused("add", "rgb.ppm", "-o", "out.png", status=2, says=["1 picture came", "2 wanted"])
        self.refused("add", "rgb.ppm", "rgb.ppm", "rgb.ppm", "-o", "out.png", status=2, says=["3 pictures came"])
        self.refused("add", "rgb.ppm", "rgb.ppm", status=2, says=["-o"])
        self.refused("add", "rgb.ppm", "rgb.ppm", "-o", "out.png", "--roi", "1,2", status=2, says=["--roi"])
        for output in ("out", "out.xyz"):
            self.refused("add", "rgb.ppm", "rgb.ppm", "-o", output, status=2, says=["format", output], output=output)
        self.refused("split", "rgb.ppm", "-o", "-", "--format", "png", status=2, says=["out-%n.png"], output="--1")
        self.refused("pipe", "rgb.ppm", "-o", "out.png", status=2, says=["--"])
        self.refused("pipe", "rgb.ppm", "-o", "out.png", "--", "not", ":", status=2, says=["step is empty"])
        self.refused("pipe", "rgb.ppm", "-o", "out.png", "--", "add", "@far", status=2, says=["@far"])
        self.refused("help", "ad", status=2, says=["did you mean 'add'"])
        self.refused("lst", status=2, says=["did you mean 'list'"])
        self.refused("rotate", "rgb.ppm", "-o", "out.png", "--degrees", "4", "--background", "puce", status=2,
                     says=["puce", "#rrggbb", "white"])

    def test_values_that_do_not_fit_are_a_wrong_use(self):
        for words in (("set-value", "--value", "red"), ("resize", "rgb.ppm"), ("scale", "rgb.ppm", "--by", "0"),
                      ("add-const", "rgb.ppm", "--value", "1,2"), ("copy", "rgb.ppm", "--compression", "12"),
                      ("copy", "rgb.ppm", "--background", "puce", "--alpha", "drop")):
            with self.subTest(words):
                self.refused(*words, "-o", "out.png", status=2)
        many = ("add-const", "rgb.ppm", "rgb.ppm", "-o", "out-%n.png", "--value", "1,2", "--jobs", "2")
        self.assertEqual(self.orv(*many, status=2).stderr.count(b"1 or 3 wanted"), 2)

    def test_a_recipe_says_its_own_name(self):
        self.ppm("alpha.pgm", 6, 4, [9] * 24)
        self.orv("join", *["alpha.pgm"] * 4, "-o", "rgba.png", "--encoding", "rgba")
        self.refused("quantize", "rgba.png", "-o", "out.png", says=["quantize: ", "--background"])

    def test_the_device_warns_and_strict_runs_fail(self):
        self.ppm("zero.pgm", 6, 4, [0] * 24)
        run = self.orv("divide", "gray.pgm", "zero.pgm", "-o", "quotient.png")
        self.assertIn(b"orv: warning: ", run.stderr)
        self.refused("divide", "gray.pgm", "zero.pgm", "-o", "out.png", "--strict", says=["divide"])

    def test_an_output_that_cannot_be_written(self):
        self.refused("not", "rgb.ppm", "-o", "no/folder/out.png", says=["no/folder/out.png"])

    def test_more_pixels_than_allowed(self):
        self.refused("not", "rgb.ppm", "-o", "out.png", "--max-pixels", "23", says=["--max-pixels", "rgb.ppm"])
        self.orv("not", "rgb.ppm", "-o", "out.png", "--max-pixels", "24")


class Pipes(FileTest):
    def setUp(self):
        super().setUp()
        self.ppm("a.pgm", 3, 1, [1, 100, 200])

    def test_kept_results_and_sources(self):
        self.orv("pipe", "a.pgm", "-o", "b.pgm", "--", "add-const", "--value", "10", "as", "more", ":", "not", ":",
                 "subtract-from-const", "--value", "255", ":", "subtract", "@more", "@1")
        self.assertEqual(self.samples("b.pgm")[3], [10, 10, 10])

    def test_to_and_from_standard_streams(self):
        run = self.orv("not", "-", "-o", "-", "--format", "pnm", input=(self.folder / "a.pgm").read_bytes())
        self.assertEqual(run.stdout[-3:], bytes([254, 155, 55]))

    def test_fused_steps_give_the_result_of_single_ones(self):
        self.ppm("b.pgm", 3, 1, [3, 1, 2])
        for way in ("exact", "all", "off"):
            run = self.orv("pipe", "a.pgm", "b.pgm", "-o", f"{way}.pgm", "--fuse", way, "--explain", "--", "multiply",
                           "@1", "@2", ":", "add", "@2")
            self.assertEqual(self.samples(f"{way}.pgm")[3], [6, 101, 255])
            self.assertEqual(len(run.stderr.splitlines()), 2 if way == "off" else 1, run.stderr)

    def test_explained_calls_go_to_standard_error(self):
        run = self.orv("pipe", "a.pgm", "-o", "b.pgm", "--explain", "--", "add-const", "--value", "10")
        self.assertIn(b"addconst8", run.stderr)
        self.assertEqual(run.stdout, b"")


class Batches(FileTest):
    def setUp(self):
        super().setUp()
        for i in range(5):
            self.ppm(f"in{i}.pgm", 2, 1, [i, 10 * i])

    def sources(self):
        return [f"in{i}.pgm" for i in range(5)]

    def test_a_folder_a_pattern_and_processes(self):
        for jobs in (1, 3):
            self.orv("add", *self.sources(), "--with", "in1.pgm", "-o", "out/", "--jobs", jobs)
            self.orv("not", *self.sources(), "-o", "n-%n.pgm", "--jobs", jobs)
            self.assertEqual(self.samples("out/in4.pgm")[3], [5, 50])
            self.assertEqual(self.samples("n-5.pgm")[3], [251, 215])
            self.assertEqual(sorted(os.listdir(self.folder / "out")), self.sources())

    def test_sources_from_a_list(self):
        self.orv("not", "-o", "out/", "--files-from", "-", input="\n".join(self.sources()).encode())
        self.assertEqual(len(os.listdir(self.folder / "out")), 5)

    def test_one_that_fails(self):
        (self.folder / "in2.pgm").write_bytes(b"P5\n9 9\n255\n")
        self.orv("not", *self.sources(), "-o", "out/", status=1)
        self.assertEqual(sorted(os.listdir(self.folder / "out")), ["in0.pgm", "in1.pgm"])
        for jobs in (1, 2):
            run = self.orv("not", *self.sources(), "-o", "on/", "--keep-going", "--jobs", jobs, status=1)
            self.assertEqual(run.stderr.count(b"in2.pgm"), 1)
            self.assertEqual(len(os.listdir(self.folder / "on")), 4)

    def test_two_sources_of_one_name(self):
        os.mkdir(self.folder / "x")
        os.rename(self.folder / "in3.pgm", self.folder / "x" / "in0.pgm")
        self.refused("not", "in0.pgm", "x/in0.pgm", "-o", "out/", status=2, says=["in0.pgm"], output="out")


class Places(FileTest):
    def setUp(self):
        super().setUp()
        self.ppm("a.pgm", 3, 1, [1, 100, 200])

    def test_a_file_keeps_its_mode_and_is_replaced_at_once(self):
        (self.folder / "b.pgm").write_bytes(b"old")
        os.chmod(self.folder / "b.pgm", 0o640)
        os.link(self.folder / "b.pgm", self.folder / "kept")
        self.orv("not", "a.pgm", "-o", "b.pgm")
        self.assertEqual(os.stat(self.folder / "b.pgm").st_mode & 0o777, 0o640)
        self.assertEqual((self.folder / "kept").read_bytes(), b"old")

    def test_pipes_and_devices_are_written_to(self):
        self.orv("not", "a.pgm", "-o", "/dev/null", "--format", "png")
        os.mkfifo(self.folder / "pipe.pgm")
        process = subprocess.Popen([ORV, "not", "a.pgm", "-o", "pipe.pgm"], cwd=self.folder)
        data = (self.folder / "pipe.pgm").read_bytes()
        self.assertEqual((process.wait(), data[-3:]), (0, bytes([254, 155, 55])))

    def test_a_terminal_shows_how_far_a_batch_is(self):
        master, slave = pty.openpty()
        self.ppm("b.pgm", 3, 1, [1, 2, 3])
        process = subprocess.Popen([ORV, "not", "a.pgm", "b.pgm", "-o", "out/"], cwd=self.folder, stderr=slave)
        self.assertEqual(process.wait(), 0)
        self.assertIn(b"2/2", os.read(master, 1000))


class Looking(FileTest):
    def test_compare_and_hash(self):
        self.ppm("a.pgm", 3, 1, [1, 2, 3])
        self.ppm("b.pgm", 3, 1, [1, 2, 5])
        self.orv("compare", "a.pgm", "a.pgm")
        self.assertIn(b"1 samples differ, by 2", self.orv("compare", "a.pgm", "b.pgm", status=1).stdout)
        self.orv("compare", "a.pgm", "b.pgm", "--max-diff", "2")
        self.orv("copy", "a.pgm", "-o", "a.tif")
        first, other = (self.orv("hash", f).stdout.split()[0] for f in ("a.pgm", "a.tif"))
        self.assertEqual(first, other)
        self.assertNotEqual(first, self.orv("hash", "b.pgm").stdout.split()[0])

    def test_info_as_json(self):
        self.orv("chart", "-o", "c.png", "--size", "20x10")
        told = json.loads(self.orv("info", "c.png", "--json").stdout)
        self.assertEqual((told[0]["width"], told[0]["height"], told[0]["bands"]), (20, 10, 3))
        self.orv("info", "c.png", "none.png", status=1)

    def test_counts_are_whole_in_json(self):
        (self.folder / "a.pgm").write_bytes(b"P5 2 2 255 \x07\x07\x00\xff")
        told = json.loads(self.orv("histogram", "a.pgm", "--json").stdout)[0]
        counts = told["gray"]
        self.assertEqual([counts[i] for i in (0, 7, 8, 255)], [1, 2, 0, 1])
        self.assertTrue(all(isinstance(count, int) for count in counts))

    def test_every_operation_and_command_has_help(self):
        names = [line.split()[0] for line in self.orv("list").stdout.decode().splitlines() if line.startswith("  ")]
        self.assertGreater(len(names), 30)
        for name in names:
            self.assertIn(b"Example", self.orv("help", name).stdout)
        for command in ("pipe", "list", "help", "info", "chart", "demo", "compare", "hash", "version"):
            self.assertIn(b"orv " + command.encode(), self.orv(command, "--help").stdout)
        self.assertIn(b"--max-diff", self.orv("compare", "a.png", "--help").stdout)
        self.assertIn(b"--sigma", self.orv("pipe", "a.png", "--", "gray", ":", "blur", "--help").stdout)
        self.assertIn(b"--alpha SRC3", self.orv("help", "blend").stdout)
        self.assertIn(b"--roi", self.orv("help", "flags").stdout)

    def test_a_palette_goes_into_a_stream_or_a_file(self):
        self.orv("chart", "-o", "c.png", "--size", "20x10")
        self.orv("choose-colormap", "c.png", "--colors", "4", "-o", "p.gpl")
        told = self.orv("choose-colormap", "c.png", "--colors", "4", "-o", "-").stdout
        self.assertTrue(told.startswith(b"GIMP Palette"))
        self.assertEqual(told, (self.folder / "p.gpl").read_bytes())
        self.refused("choose-colormap", "c.png", "-o", "none/p.gpl", says=["none/p.gpl", "No such"], output="none/p.gpl")

    def test_a_pipe_that_ends_in_a_measurement_needs_no_output(self):
        self.orv("chart", "-o", "c.png", "--size", "20x10")
        self.assertIn(b"max        255", self.orv("pipe", "c.png", "--", "gray", ":", "extrema").stdout)

    def test_resolution_of_several_results(self):
        self.orv("chart", "-o", "c.png", "--size", "20x10")
        self.orv("split", "c.png", "-o", "b-%n.png", "--dpi", "254")
        self.assertIn(b"254 dpi", self.orv("info", "b-2.png").stdout)

    def test_rows_as_json(self):
        rows = json.loads(self.orv("list", "--json").stdout)
        self.assertGreater(len(rows), 50)
        one = json.loads(self.orv("help", "add-const", "--json").stdout)
        self.assertEqual([p["flag"] for p in one["parameters"]], ["--value"])
        self.assertIn(one, rows)

    def test_registrations(self):
        self.assertEqual(len(self.orv("list", "--registrations").stdout.splitlines()), 650)


@plain_build
class Limits(FileTest):
    def test_opening_a_session_is_quick(self):
        best = 1.0
        for _ in range(15):
            start = time.perf_counter()
            orv("version")
            best = min(best, time.perf_counter() - start)
        # A process and a session.
        self.assertLess(best, 0.030)

    def test_memory_of_adding_two_large_pictures(self):
        side = int(os.environ.get("ORV_LARGE_SIDE", "10000"))
        with open(self.folder / "a.pgm", "wb") as file:
            file.write(f"P5\n{side} {side}\n255\n".encode())
            file.truncate(file.tell() + side * side)
        os.link(self.folder / "a.pgm", self.folder / "b.pgm")
        process = subprocess.Popen([ORV, "add", "a.pgm", "b.pgm", "-o", "c.pgm"], cwd=self.folder)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = status
        self.assertEqual(status, 0)
        self.assertLess(used.ru_maxrss * 1024, 3 * side * side + 64 * 2**20)

    def test_an_interrupt_leaves_nothing_behind(self):
        self.orv("chart", "-o", "c.tif", "--size", "3000x3000")
        before = set(os.listdir(self.folder))
        for delay in (0.02, 0.1, 0.2, 0.35):
            process = subprocess.Popen([ORV, "not", "c.tif", "-o", "d.png"], cwd=self.folder, stderr=subprocess.DEVNULL)
            time.sleep(delay)
            process.send_signal(signal.SIGINT)
            process.wait()
            if process.returncode == 0:
                os.remove(self.folder / "d.png")
            self.assertEqual(set(os.listdir(self.folder)), before)


@plain_build
class Processes(FileTest):
    def test_an_interrupted_batch_leaves_nothing_behind_and_stops(self):
        self.orv("chart", "-o", "c.tif", "--size", "2000x2000")
        for i in range(6):
            os.link(self.folder / "c.tif", self.folder / f"c{i}.tif")
        process = subprocess.Popen([ORV, "not", *(f"c{i}.tif" for i in range(6)), "-o", "out/", "--format", "png",
                                    "--jobs", "2"], cwd=self.folder, stderr=subprocess.DEVNULL)
        time.sleep(0.3)
        process.terminate()
        process.wait()
        time.sleep(0.3)
        left = os.listdir(self.folder / "out") if (self.folder / "out").exists() else []
        self.assertTrue(all(name.endswith(".png") for name in left), left)
        self.assertLess(len(left), 6)
        time.sleep(0.5)
        self.assertEqual(sorted(os.listdir(self.folder / "out")) if left else [], sorted(left))


class Demo(FileTest):
    def test_every_example_runs_as_it_is_written(self):
        self.orv("demo", "shown")
        shown = os.listdir(self.folder / "shown")
        self.assertIn("index.html", shown)
        self.assertIn("contact-sheet.png", shown)
        page = (self.folder / "shown" / "index.html").read_text()
        for line in self.orv("list").stdout.decode().splitlines():
            if line.startswith("  "):
                self.assertIn(f"<b>{line.split()[0]}</b>", page)
        # The pages show what the demo shows.
        checked_in = SOURCE / "docs" / "pictures"
        made = {p.name: p for p in (self.folder / "shown" / "small").iterdir()}
        made["contact-sheet.png"] = self.folder / "shown" / "contact-sheet.png"
        for name, picture in made.items():
            self.assertTrue((checked_in / name).exists(), f"{name} is missing: run scripts/pages.sh")
            run = subprocess.run([ORV, "compare", checked_in / name, picture], capture_output=True)
            self.assertEqual(run.returncode, 0, f"{name} is stale: run scripts/pages.sh")
        self.assertLess(sum((checked_in / name).stat().st_size for name in made), 3 * 2**20)


if __name__ == "__main__":
    unittest.main()
