#!/usr/bin/env python3
"""Whether the benchmark calculates correctly: what it reads, subtracts, compares and prints. Needs no machine and no clock."""

import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

# pylint: disable=wrong-import-position
import bench_machine  # noqa: E402
import empty_program  # noqa: E402
import loads  # noqa: E402
import measure  # noqa: E402
import tables  # noqa: E402


class Figures(unittest.TestCase):
    """Costs and tables."""

    def test_the_best_round_counts_and_the_start_is_taken_off(self) -> None:
        cost = measure.Cost(loaded=[130.0, 120.0, 150.0], bare=[25.0, 20.0])
        self.assertEqual(cost.net(), 100.0)

    def test_rounds_that_differ_by_a_tenth_of_the_figure_are_vague(self) -> None:
        self.assertFalse(measure.Cost([120.0, 129.0], [20.0, 20.0]).is_vague())
        self.assertTrue(measure.Cost([120.0, 131.0], [20.0, 20.0]).is_vague())
        self.assertTrue(measure.Cost([120.0, 120.0], [20.0, 31.0]).is_vague())

    def test_ratios_and_growth_need_something_to_divide_by(self) -> None:
        self.assertEqual(tables.ratio(3.0, 2.0), "1.50")
        self.assertEqual(tables.ratio(3.0, 0.0), "-")
        self.assertEqual(tables.ratio(-3.0, 2.0), "-")
        self.assertEqual(tables.growth(-3.0, 3.0), "-")
        self.assertEqual(tables.growth(30.0, None), "-")
        self.assertEqual(tables.growth(30.0, 3.0), "x 10.0")

    def test_a_table_is_markdown_with_columns_of_one_width(self) -> None:
        self.assertEqual(
            tables.table(["a", "long"], [["first", "1"]]), "| a     | long |\n|-------|------|\n| first | 1    |\n"
        )


class Runs(unittest.TestCase):
    """What the stopwatch observed of a run."""

    def test_the_record_is_read(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "record.tsv"
            path.write_text("time\tfloor\t12.5\t0\ntime\tprogram\t90.0\t0\nmemory\tprogram\t1024\n"
                            "line\tprogram\t40.0\t----One Started----\n", encoding="utf-8")
            record = bench_machine.read_record(path)
        self.assertEqual(record.times, {"floor": 12.5, "program": 90.0})
        expected = bench_machine.Watched(90.0, 1024, [(40.0, "----One Started----")])
        self.assertEqual(record.watched, {"program": expected})

    def test_what_a_load_costs_goes_to_the_sections_of_the_log(self) -> None:
        headings = ["---Collecting---", "---Deleting Started---", "---Deleting Ended---"]
        bare = bench_machine.Watched(40.0, 0, list(zip([10.0, 20.0, 30.0], headings, strict=True)))
        loaded = bench_machine.Watched(140.0, 0, list(zip([10.0, 40.0, 130.0], headings, strict=True)))
        self.assertEqual(measure.shares(loaded, bare), [("Deleting Started", 0.8), ("Collecting", 0.2)])

    def test_the_programs_that_a_run_has_started_are_read_from_its_log(self) -> None:
        messages = [
            "Killing Process\t:\tA.exe",
            "Finished uninstalling ORV UWP Application: Maker.App*",
            'Able to run ORVScoSupportTypeUpdate  : schtasks /Run /TN "ORVScoSupportTypeUpdate" ',
            "Deleting Scheduled Task\t:\tDaily\tSUCCESSFULL...",
            "C:\\a file",
        ]
        with tempfile.TemporaryDirectory() as folder:
            log = Path(folder) / "log.txt"
            log.write_bytes(b"".join(f"Thread Id:1\tnow\tDEBUG\t{text}\r\n".encode() for text in messages))
            lines = measure.children_list(log)
        self.assertEqual(lines[0], 'shell\ttaskkill.exe\t /IM "A.exe" /F')
        self.assertIn("Get-AppxPackage -AllUsers \"Maker.App*\" | Remove-AppxPackage", lines[1])
        self.assertEqual(
            lines[2], 'start\tcmd.exe /C "schtasks /Run /TN "ORVScoSupportTypeUpdate""\t%SYSTEMROOT%\\System32'
        )
        self.assertEqual(lines[3], 'start\tschtasks /delete /TN "Daily" /F')
        self.assertEqual(len(lines), 5)
        self.assertIn("bcdedit", lines[4])


class Comparison(unittest.TestCase):
    """Whether the same things are gone."""

    def test_what_a_machine_does_by_itself_does_not_count(self) -> None:
        own = r"value HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager\PendingFileRenameOperations"
        self.assertEqual(measure.gone({"file C:\\a", "file C:\\b", own}, {"file C:\\b"}), {"file C:\\a"})

    def test_the_load_is_what_lies_at_its_place_whatever_the_case_of_the_key(self) -> None:
        row = loads.Row("keys", "key", r"HKEY_LOCAL_MACHINE\SOFTWARE\ORV\Telemetry")
        software = r"HKEY_LOCAL_MACHINE\Software\ORV"
        inside = {rf"key {software}\Telemetry", rf"value {software}\Telemetry\a"}
        outside = {rf"key {software}\TelemetryToo", f"key {software}"}
        self.assertEqual(measure.below(inside | outside, row), inside)


class Loads(unittest.TestCase):
    """What is planted."""

    def test_the_shipped_manifest_lists_the_places_of_the_loads(self) -> None:
        measure.check_manifest()

    def test_a_code_is_packed_as_the_installer_does(self) -> None:
        self.assertEqual(
            loads.packed("{12345678-ABCD-EF01-2345-6789ABCDEF01}"), "87654321DCBA10FE325476" + "98BADCFE10"
        )

    def test_every_tenth_device_is_the_makers(self) -> None:
        devices = [line for line in loads.device_list(40) if line.startswith("device\tPCI")]
        self.assertEqual(len(devices), 40)
        self.assertEqual(sum("VEN_7A11" in line for line in devices), 4)


class EmptyProgram(unittest.TestCase):
    """The program that only imports."""

    def test_it_names_each_function_as_an_import(self) -> None:
        source = empty_program.source(["RegCloseKey", "exit"])
        self.assertIn("extern void* __imp_RegCloseKey;\nextern void* __imp_exit;\n", source)
        self.assertIn("&__imp_RegCloseKey,\n    &__imp_exit,", source)


if __name__ == "__main__":
    unittest.main()
