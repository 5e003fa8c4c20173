#!/usr/bin/env python3
# manifest_lint_test - tools/manifest-lint lets the shipped document through and refuses spoilt ones, each with the right
# words; the two JSON Schemas accept and refuse what they should. The spoilt documents are made from the shipped one.
import copy
import json
import pathlib
import re
import subprocess
import tempfile
import unittest

from jsonschema import Draft7Validator
from jsonschema.validators import extend

ROOT = pathlib.Path(__file__).resolve().parents[2]
SHIPPED = (ROOT / "src/resources/ScrubList.JSON").read_bytes()
TREE = json.loads(SHIPPED)


def lint(data, *options):
    """Exit status, fault lines and other lines for a document of these bytes."""
    with tempfile.TemporaryDirectory() as folder:
        document = pathlib.Path(folder) / "ScrubList.JSON"
        document.write_bytes(data)
        run = subprocess.run([ROOT / "tools/manifest-lint", *options, document], capture_output=True, text=True)
    lines = run.stdout.splitlines()
    return run.returncode, [line for line in lines if line.startswith("fault: ")], lines


def laid_out(tree):
    """A tree in the document's layout."""
    text = json.dumps(tree, indent=2)
    text = re.sub(r'"BasicINF": \{\s+(".*"),\s+(".*")\s+\}', r'"BasicINF": { \1, \2 }', text)
    return text.replace("\n", "\r\n").encode("ascii") + b"\r\n"


def replaced(old, new):
    """The shipped bytes with their first `old` made `new`."""
    assert old in SHIPPED, old
    return SHIPPED.replace(old, new, 1)


def with_row(path, row):
    """The shipped document with the last row of a list made `row`, so that no count changes."""
    tree = copy.deepcopy(TREE)
    rows = tree
    for key in path.split("."):
        rows = rows[key]
    rows[-1] = row
    return laid_out(tree)


def changed(change):
    tree = copy.deepcopy(TREE)
    change(tree)
    return laid_out(tree)


def reordered(tree, key):
    tree[key] = tree.pop(key)


def drivers(tree):
    return tree["Packages"]["ORVDrivers"]


def applications(tree):
    return tree["Packages"]["ORVApplications"]


KEY = "HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\"
ALIKE = ["LumioCapture64", "KOSensors64", "ORVToneStudio64", "HLXRuntime64"]
SERVICES = {"FanControllerDriver64": "orvfanctl", "FlashAccessDriver64": "orvflash", "MemoryCarveoutDriver64": "orvcarve",
            "UsbTypeCDriver64": "orvusbtypec"}


def settings_alike(tree, count):
    """One setting under some packages, behind each package's name."""
    for name in ALIKE[:count]:
        applications(tree)[name]["RegistryValues"].append(f"{KEY}Settings\\{name[:-2]}UserLevel")


KO_CODE = TREE["Packages"]["ORVApplications"]["KOTuning64"]["Info"]["UpgradeID"]
# Bytes and keys: name of the case, the spoilt document, what is wrong with it.
SPOILT = [
    ("a byte order mark", b"\xef\xbb\xbf" + SHIPPED, "document: begins with a byte order mark"),
    ("another letter", replaced(b"UserProfiles.zip", b"UserPr\xf6files.zip"), "document: line 143 is not plain ASCII"),
    ("a bare line end", replaced(b"{\r\n", b"{\n"),
     "document: line 1 does not end in a carriage return and a line feed"),
    ("no last line end", SHIPPED[:-2], "document: the last line has no line end"),
    ("a tab", replaced(b'  "Generic"', b'\t"Generic"'), 'document: line 2 should be:   "Generic": {'),
    ("a text without an end", replaced(b'"ORVTelemetryService"', b'"ORVTelemetryService'),
     "document: is not JSON from line 17 on"),
    ("a package twice", replaced(b'"LumioControlPanel64": {', b'"LMBranding64": {'),
     "document: has a duplicate key in an object: LMBranding64"),
    ("a list missing", changed(lambda tree: tree["Generic"].pop("Shortcuts")), "Generic: lacks Shortcuts"),
    ("a key misspelt", changed(lambda tree: tree["ExclusionList"].update(Proces=[])),
     "ExclusionList: has Proces, which is not read"),
    ("another order", changed(lambda tree: reordered(tree, "ExclusionList")),
     "document: does not have its keys in the order Generic, ExclusionList, InclusionList, Packages"),
    ("a text for a list", changed(lambda tree: drivers(tree)["UsbTypeCDriver64"].update(Services="orvusbtypec")),
     "UsbTypeCDriver64.Services: is not a list of strings"),
    ("a number for a text", changed(lambda tree: drivers(tree)["UsbTypeCDriver64"]["Info"].update(PID=7)),
     "UsbTypeCDriver64.Info: has a PID that is not a string"),
    ("a dot in a name",
     changed(lambda tree: drivers(tree).update({"Driver.64": drivers(tree).pop("PanelComponentDriver64")})),
     "Driver.64: has a dot in its name: the program can't find such a package"),
    ("a text for CommonApp",
     changed(lambda tree: applications(tree)["MeridiaExperience64"]["Info"].update(CommonApp="true")),
     "MeridiaExperience64.Info: has a CommonApp that is neither true nor false"),
    ("a class missing", changed(lambda tree: drivers(tree)["UsbTypeCDriver64"]["Info"].update(ClassName="")),
     "UsbTypeCDriver64.Info: has no ClassName: it would match no device"),
    ("half a sibling",
     changed(lambda tree: drivers(tree)["CompanionFunctionDriver64"]["Info"].update(SibblingClassName="")),
     "CompanionFunctionDriver64.Info: names half of a sibling: it would match no device"),
    ("a display driver by its description",
     changed(lambda tree: drivers(tree)["DisplayDriver64"]["Info"].update(DeviceDesc="Orvane Graphics")),
     'DisplayDriver64.Info: "Orvane Graphics" finds display devices by DeviceDesc, bypassing the kept graphics cards'),
    ("devices of others", changed(lambda tree: drivers(tree)["ToneBusDriver64"]["Info"].update(DeviceDesc="Audio")),
     'ToneBusDriver64.Info: "Audio" finds devices of other makers by DeviceDesc'),
    ("an upgrade code in small letters",
     changed(lambda tree: applications(tree)["KOTuning64"]["Info"].update(UpgradeID=KO_CODE.lower())),
     f'KOTuning64.Info: "{KO_CODE.lower()}" is not an upgrade code: braces, capitals, a random GUID'),
    ("an upgrade code twice",
     changed(lambda tree: applications(tree)["ORVTrayAgent64"]["Info"].update(UpgradeID=KO_CODE)),
     f'ORVTrayAgent64.Info: "{KO_CODE}" is the upgrade code of KOTuning64'),
    ("a command line", changed(lambda tree: applications(tree)["KOTuning64"]["Info"].update(CommandLine="/x")),
     "KOTuning64.Info: has a CommandLine; the installer finds the product by its code"),
    ("services of an application", changed(lambda tree: applications(tree)["KOTuning64"].update(Services=["orvtuner"])),
     "KOTuning64.Services: has rows, which are not read: an application has no services"),
    ("a row too few", changed(lambda tree: tree["Generic"]["Shortcuts"].pop()),
     "counts: Generic.Shortcuts: 2, but the table of shipped counts says 3"),
    # Packages that no removed device can count for: their rows would stay on every machine.
    ("a row of the second package of a class",
     changed(lambda tree: drivers(tree)["AudioCoprocessorDriver64"]["RegistryKeys"].append(KEY + "Audio\\Voices")),
     f'AudioCoprocessorDriver64.RegistryKeys: {json.dumps(KEY + "Audio" + chr(92) + "Voices")} is in a package for which no '
     "device can count: DisplayAudioDriver64 gets them all"),
    ("a row of the second package of a class, in other letters",
     changed(lambda tree: (drivers(tree)["UsbTypeCDriver64"]["Info"].update(ClassName="softwarecomponent"))),
     'UsbTypeCDriver64.Services: "orvusbtypec" is in a package for which no device can count: '
     "SettingsComponentDriver64 gets them all"),
    ("a row of the second display driver",
     changed(lambda tree: drivers(tree)["DisplayDriver64"]["Services"].append("orvgfxkm64")),
     'DisplayDriver64.Services: "orvgfxkm64" is in a package for which no device can count: DisplayDriver gets them all'),
    ("a row of an extension",
     changed(lambda tree: drivers(tree)["DisplayExtensionDriver64"]["Services"].append("orvdispextsvc")),
     'DisplayExtensionDriver64.Services: "orvdispextsvc" is in a package for which no device can count: '
     "extensions lose their driver package only"),
    ("a description that an earlier one is part of",
     changed(lambda tree: drivers(tree)["FanControllerDriver64"]["Info"].update(DeviceDesc="Orvane Crash Guard Fan")),
     'FanControllerDriver64.Services: "orvfanctl" is in a package for which no device can count: '
     "CrashGuardDriver64 gets them all"),
    ("a device id that an earlier one is part of",
     changed(lambda tree: drivers(tree)["VirtualMicrophoneDriver64"]["Info"].update(DeviceID="ROOT\\ORVTONEBUS2")),
     'VirtualMicrophoneDriver64.Services: "orvvirtmic" is in a package for which no device can count: '
     "ToneBusDriver64 gets them all"),
    ("a system package that means no device",
     changed(lambda tree: drivers(tree)["FanControllerDriver64"]["Info"].update(DeviceDesc="")),
     'FanControllerDriver64.Services: "orvfanctl" is in a package for which no device can count: it matches none'),
    ("the experience programme's store app",
     changed(lambda tree: tree["InclusionList"]["UWP"].__setitem__(-1, "OrvaneDevicesInc-2.MeridiaExperience*")),
     'InclusionList.UWP: "OrvaneDevicesInc-2.MeridiaExperience*" is the experience programme\'s, which a user may have '
     "opted in to"),
    ("a pattern that the experience programme's store app fits",
     changed(lambda tree: tree["InclusionList"]["UWP"].__setitem__(-1, "OrvaneDevicesInc-2.Meridia*")),
     'InclusionList.UWP: "OrvaneDevicesInc-2.Meridia*" is the experience programme\'s, which a user may have opted in to'),
    # Rows that no product would have.
    ("a key of a package's own name",
     changed(lambda tree: applications(tree)["LumioCapture64"]["RegistryKeys"].append(KEY + "LM\\LumioCapture")),
     f'LumioCapture64.RegistryKeys: {json.dumps(KEY + "LM" + chr(92) + "LumioCapture")} ends in the package\'s own name, '
     "which products do not use"),
    ("a key of a driver package's own name, in two words",
     changed(lambda tree: drivers(tree)["CrashGuardDriver64"]["RegistryKeys"].append(KEY + "Crash Guard")),
     f'CrashGuardDriver64.RegistryKeys: {json.dumps(KEY + "Crash Guard")} ends in the package\'s own name, '
     "which products do not use"),
    ("a setting that four packages have in common", changed(lambda tree: settings_alike(tree, 4)),
     f'LumioCapture64.RegistryValues: {json.dumps(KEY + "Settings" + chr(92) + "LumioCaptureUserLevel")} is a setting that '
     "4 packages have in common"),
    ("a file that four packages have in common",
     changed(lambda tree: [applications(tree)[name]["Files"].append(f"INSTALL_DIR\\LM\\{name}\\Profiles\\calm.json")
                           for name in ALIKE[:4]]),
     'LumioCapture64.Files: "INSTALL_DIR\\\\LM\\\\LumioCapture64\\\\Profiles\\\\calm.json" is a file that 4 packages '
     "have in common"),
    ("a service beside each service",
     changed(lambda tree: [drivers(tree)[name]["Services"].append(service + "svc") for name, service in SERVICES.items()]),
     'FanControllerDriver64.Services: "orvfanctlsvc" is another service with a suffix, as in 4 packages'),
    ("a package not included",
     changed(lambda tree: tree["InclusionList"]["Applications"].__setitem__(-1, "OrvaneOther64")),
     "InclusionList.Applications: lacks OrvaneBundle64: everything it lists would be protected"),
]
TOO_MUCH = "matches too much: a pattern needs three consecutive letters, and its extension after its last *"
NOT_THE_MAKERS = "is among the system's files and does not have the maker's letters"
# Rows: the list, the row that takes the place of its last one, what is wrong with it.
SPOILT_ROWS = [
    ("Generic.Directories", "C:\\", "has an empty or dotted part"),
    ("Generic.Directories", "C:", "names a drive's root"),
    ("Generic.Directories", "D:\\ORV\\Packages", "names a drive"),
    ("Generic.Directories", "Windows\\System32", "names a place of the system"),
    ("Generic.Directories", "Windows\\System32\\drivers\\etc", "names a place of the system"),
    ("Generic.Directories", "Program Files", "names a folder that all programs share"),
    ("Generic.Directories", "Program Files\\ORV", "names a folder that contains other programs of the maker"),
    ("Generic.Directories", "Program Files\\Other Maker\\Editor", "is not in a folder of the maker's"),
    ("Generic.Directories", "Users\\Public\\Documents\\ORV", "names a user's own files"),
    ("Generic.Directories", "Windows\\System32\\ORV\\..\\..", "has an empty or dotted part"),
    ("Generic.Directories", "Windows\\SysWOW64\\ORV\\gpu-*",
     "has a part that Windows does not allow; * works in file rows only"),
    ("Generic.Directories", "Windows\\System32\\ORV\\shadercache", "is in the list twice"),
    ("Generic.Files", "Windows\\System32\\*.*", TOO_MUCH),
    ("Generic.Files", "Windows\\System32\\or*.dll", TOO_MUCH),
    ("Generic.Files", "Windows\\System32\\or*v1*.dll", TOO_MUCH),
    ("Generic.Files", "Windows\\System32\\*.orvgfx", TOO_MUCH),
    ("Generic.Files", "Windows\\System32\\*orvgfx*", TOO_MUCH),
    ("Generic.Files", "Windows\\System32\\orvgfx*.dll*", TOO_MUCH),
    ("Generic.Files", "INSTALL_DIR\\gpu-**.log", TOO_MUCH),
    ("Generic.Files", "Windows\\System32\\kernel32.dll", NOT_THE_MAKERS),
    ("Generic.Files", "Windows\\System32\\*orv*.sys", NOT_THE_MAKERS),
    ("Generic.Files", "Windows\\System32\\storv*.sys", NOT_THE_MAKERS),
    ("Generic.Files", "Windows\\System32\\kernel*.dll", NOT_THE_MAKERS),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE", "names a whole root"),
    ("Generic.RegistryKeys", "HKLM\\SOFTWARE\\ORV\\LM", "does not begin with a root that the document may name"),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV",
     "names a key in which other programs of the maker have theirs"),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
     "names a key that is not the maker's"),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\storvsc",
     "does not begin with the maker's letters"),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX\\Install",
     "is the installer's own: only the last stage of a run may remove it"),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\ChipsetTool", "names the chipset software, which stays"),
    ("Generic.RegistryKeys", "HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\Chipset",
     "names the chipset software, which stays",
     'ExclusionList.RegistryKeys: "HKEY_LOCAL_MACHINE\\\\SOFTWARE\\\\ORV\\\\Chipset" '
     "protects what Generic.RegistryKeys removes"),
    ("Generic.RegistryKeysEmpty", "HKEY_LOCAL_MACHINE\\SOFTWARE", "is not the maker's top key"),
    ("Generic.RegistryValues", "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\OtherAgent",
     "names a value that is not the maker's"),
    ("Generic.Services", "Dnscache", "does not contain the maker's name"),
    ("Generic.Process", "explorer.exe", "does not contain the maker's name"),
    ("Generic.Shortcuts", "Accessories\\Lumio.lnk", "would remove a folder that is not the maker's"),
    ("InclusionList.Drivers", "DisplayDriver", "must not be in it: a factory reset would remove it"),
    ("InclusionList.UWP", "*", "is not a pattern for one of the maker's store apps"),
    ("Packages.ORVApplications.KOTuning64.Process", "ORVOther.exe", "is not a file of the package"),
    ("Packages.ORVApplications.KOTuning64.Files", "Program Files\\ORV\\Elsewhere\\a.dll",
     "is in no folder that a row names: the folder would be left behind"),
]


class ManifestLint(unittest.TestCase):
    maxDiff = None

    def refuse(self, data, fault):
        status, faults, _ = lint(data)
        self.assertIn("fault: " + fault, faults)
        self.assertEqual(1, status)

    def test_shipped_document_passes(self):
        status, faults, lines = lint(SHIPPED)
        self.assertEqual([], faults)
        self.assertEqual(0, status)
        self.assertEqual(f"ScrubList.JSON: {len(SHIPPED):,} bytes, {len(SHIPPED.splitlines()):,} lines", lines[0])
        self.assertIn("note: InclusionList.Drivers names TuningComponentDriver64, for which there is no driver package",
                      lines)

    def test_spoilt_documents_start_from_the_shipped_bytes(self):
        self.assertEqual(SHIPPED, laid_out(TREE))

    def test_counts_are_printed(self):
        _, _, lines = lint(SHIPPED, "--counts")
        self.assertIn("  applications' Files                      1201", lines)

    def test_a_document_that_is_not_there_is_no_success(self):
        run = subprocess.run([ROOT / "tools/manifest-lint", "missing.JSON"], capture_output=True, text=True)
        self.assertEqual(1, run.returncode)
        self.assertIn("missing.JSON", run.stderr)

    def test_spoilt_documents_are_refused(self):
        for name, data, fault in SPOILT:
            with self.subTest(name):
                self.refuse(data, fault)

    def test_three_packages_may_have_a_setting_alike(self):
        _, faults, _ = lint(changed(lambda tree: settings_alike(tree, 3)))
        self.assertEqual([], [fault for fault in faults if "in common" in fault])

    def test_packages_that_stay_compete_for_no_device(self):
        # The package for the sensor hub is in no inclusion list: what it means counts for the next one.
        tree = copy.deepcopy(TREE)
        drivers(tree)["NeuralProcessorDriver64"]["Info"].update(ClassName="system", DeviceDesc="Orvane Sensor Hub 2")
        _, faults, _ = lint(laid_out(tree))
        self.assertEqual([], faults)

    def test_spoilt_rows_are_refused(self):
        for path, row, reason, *further in SPOILT_ROWS:
            with self.subTest(row):
                place = re.sub(r"^Packages\.ORV\w+\.", "", path)
                status, faults, _ = lint(with_row(path, row))
                wanted = [f"fault: {place}: {json.dumps(row)} {reason}"] + [f"fault: {text}" for text in further]
                # The row that made way may be missed elsewhere, and the forms are counted.
                found = [fault for fault in faults if fault in wanted or
                         not re.match(r"fault: counts: (file|directory) rows", fault)]
                self.assertEqual(wanted, found)
                self.assertEqual(1, status)

    def test_patterns_that_name_what_they_mean_pass(self):
        for row in ("Windows\\System32\\*orvgfx*.dll", "Windows\\SysWOW64\\orv*.dll", "Windows\\System32\\ORV-*-old.dll",
                    "INSTALL_DIR\\gpu-*.log", "INSTALL_DIR\\*gpu*.log", "INSTALL_DIR\\a*gpu.log"):
            with self.subTest(row):
                _, faults, _ = lint(with_row("Generic.Files", row))
                self.assertEqual([], [fault for fault in faults if "fault: counts: file rows" not in fault])


CLEANUP = json.loads((ROOT / "docs/schemas/cleanup_manifest.schema.json").read_bytes())
TRACKER = json.loads((ROOT / "docs/schemas/tracker_manifest.schema.json").read_bytes())
# A number with a fraction, even of 0, is no integer to the program.
INTEGER = Draft7Validator.TYPE_CHECKER.redefine("integer", lambda _, value: type(value) is int)
Validator = extend(Draft7Validator, type_checker=INTEGER)
FOR_READERS = {"$schema", "title", "description", "definitions", "examples"}
OPERATIONS = {"Commands": [{"process": "%InstallDir%\\Example\\stop.exe", "commandLine": "-quiet", "timeout": "60"}],
              "Services": ["ExampleService"], "Files": ["Program Files\\ORV\\example.log"],
              "DirectoriesForce": ["%ProgramData%\\ORV\\Example"], "Directories": ["%InstallDir%\\Example"]}


def refusals(schema, document):
    """What the schema has against the document: the place, then the reason."""
    return [f"{'.'.join(map(str, refusal.absolute_path))}: {refusal.message}"
            for refusal in Validator(schema).iter_errors(document)]


def keywords(schema):
    """Every keyword of a schema and of those inside it."""
    for keyword, inside in schema.items():
        yield keyword
        if keyword in ("properties", "definitions"):
            inner = inside.values()
        else:
            inner = [inside] if isinstance(inside, dict) else []
        for part in inner:
            yield from keywords(part)


def tracker(**parts):
    stages = {name: {"PreOperations": {}, "PostOperations": {}} for name in ("Generic", "Cleanup")}
    return {"PKMBinaries": stages | parts}


def generic(operations):
    return tracker(Generic={"PreOperations": operations, "PostOperations": {}})


class Schemas(unittest.TestCase):
    def test_each_of_their_keywords_is_checked(self):
        # A validator passes over what it does not know: a schema would say more than is checked.
        for schema in (CLEANUP, TRACKER):
            Draft7Validator.check_schema(schema)
            self.assertEqual(set(), set(keywords(schema)) - FOR_READERS - Draft7Validator.VALIDATORS.keys())

    def test_they_accept_what_is_right(self):
        self.assertEqual([], refusals(CLEANUP, TREE))
        self.assertEqual([], refusals(TRACKER, tracker()))
        self.assertEqual([], refusals(TRACKER, generic(OPERATIONS)))
        self.assertEqual([], refusals(TRACKER, tracker(FactoryReset={"PreOperations": {}, "PostOperations": {}})))

    def test_cleanup_manifest_refuses_what_is_wrong(self):
        for place, change in (
                ("Generic", lambda tree: tree["Generic"].pop("Files")),
                ("Generic.Files.0", lambda tree: tree["Generic"]["Files"].__setitem__(0, 7)),
                ("Generic.RegistryKeys.0",
                 lambda tree: tree["Generic"]["RegistryKeys"].__setitem__(0, "HKLM\\SOFTWARE\\X")),
                ("InclusionList.UWP.0", lambda tree: tree["InclusionList"]["UWP"].__setitem__(0, "App")),
                ("Packages.ORVDrivers", lambda tree: drivers(tree).update({"A.B": drivers(tree)["UsbTypeCDriver64"]})),
                ("Packages.ORVDrivers.UsbTypeCDriver64.Info",
                 lambda tree: drivers(tree)["UsbTypeCDriver64"]["Info"].pop("PID")),
                ("Packages.ORVApplications.KOTuning64.Info.UpgradeID",
                 lambda tree: applications(tree)["KOTuning64"]["Info"].update(UpgradeID="{1}")),
                ("Packages.ORVApplications.MeridiaExperience64.Info.CommonApp",
                 lambda tree: applications(tree)["MeridiaExperience64"]["Info"].update(CommonApp="true"))):
            tree = copy.deepcopy(TREE)
            change(tree)
            with self.subTest(place):
                self.assertEqual([place], sorted({refusal.split(": ")[0] for refusal in refusals(CLEANUP, tree)}))

    def test_tracker_manifest_refuses_what_is_wrong(self):
        command = OPERATIONS["Commands"][0]
        for document in ({}, {"PKMBinaries": {}}, generic({"Services": "ExampleService"}), generic({"services": []}),
                         generic({"Commands": [{**command, "timeout": "soon"}]}),
                         generic({"Commands": [{"process": "a.exe"}]}), tracker(Cleanup={"PreOperations": {}})):
            with self.subTest(document):
                self.assertNotEqual([], refusals(TRACKER, document))


if __name__ == "__main__":
    unittest.main()
