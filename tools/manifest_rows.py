# manifest_rows - what a single row of the cleanup manifest may name, and which form a path row has. Knows nothing of the
# document. Each against_...() returns the reason against a row, or an empty text. What is not known to be harmless is refused.
import re

HIVES = {"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_CLASSES_ROOT"}
# Folders and keys with these names are the maker's, with everything below them.
MAKERS_TOPS = {"orv", "ktl", "ktl systems", "orvane", "halcyra", "brimwood", "meridia", "lumio"}
MAKERS_WORDS = ("orv", "ktl", "halcyra", "brimwood", "meridia", "lumio", "uxf")
TOP_FOLDERS = {"%localappdata%", "%appdata%", "program files", "program files (x86)", "programdata"}
# Where Windows keeps one key for each program or service.
SHARED_KEYS = {
    r"software\classes", r"software\classes\directory\background\shellex\contextmenuhandlers",
    r"software\microsoft\windows\currentversion\uninstall", r"software\microsoft\windows\currentversion\app paths",
    r"system\currentcontrolset\services\eventlog\application"}
SERVICES_KEY = r"system\currentcontrolset\services"
RUN_KEY = r"software\microsoft\windows\currentversion\run"


def is_plain(part):
    return bool(part) and not re.search(r'[/:*?"<>|]', part) and part[0] != " " and part[-1] not in " ."


def sounds_of_the_maker(name):
    return any(word in name.lower() for word in MAKERS_WORDS)


def parts_below_maker(row):
    """The parts of a path row below a folder of the maker's, or the reason why it has none."""
    parts = row.split("\\")
    first = parts[0].lower()
    if ".." in parts or "." in parts or "" in parts:
        return None, "has an empty or dotted part"
    if re.fullmatch("[a-z]:", first):
        return None, "names a drive's root" if len(parts) == 1 else "names a drive"
    if parts[0] in ("INSTALL_DIR", "INSTALL_DIR32"):
        below = parts[1:]
    elif first in ("windows", "%systemroot%"):
        if len(parts) < 4 or parts[1].lower() not in ("system32", "syswow64") or parts[2].lower() not in MAKERS_TOPS:
            return None, "names a place of the system"
        below = parts[3:]
    elif first == "users" or first == "%userprofile%":
        return None, "names a user's own files"
    elif first in TOP_FOLDERS:
        if len(parts) == 1:
            return None, "names a folder that all programs share"
        if parts[1].lower() not in MAKERS_TOPS:
            return None, "is not in a folder of the maker's"
        below = parts[2:]
    else:
        return None, "is in no known folder"
    return (below, "") if below else (None, "names a folder that contains other programs of the maker")


def against_directory(row):
    # One folder is named with its drive: the one in which the maker's downloads unpack themselves.
    unpacked = re.fullmatch(r"C:\\ORV\\(.+)", row)
    below, reason = (unpacked[1].split("\\"), "") if unpacked else parts_below_maker(row)
    if reason:
        return reason
    return "" if all(map(is_plain, below)) else "has a part that Windows does not allow; * works in file rows only"


def literal_rows(name):
    """The literal parts of a name between the wildcards, up to its first dot. In a place of the system, the program refuses a
    pattern if none of them has three characters without a blank."""
    return re.split(r"[*? ]+", name.split(".")[0])


def names_the_maker(name):
    """Among the system's files, a name begins with the maker's letters, or a pattern contains a longer name of the maker's:
    storvsc is the system's."""
    return name.lower().startswith("orv") or (
        "*" in name and any(len(row) > 5 and re.match("|".join(MAKERS_WORDS), row.lower()) for row in literal_rows(name)))


def against_file(row):
    head, _, name = row.rpartition("\\")
    literal = name.replace("*", "")
    if "*" in head:
        return "has a * in a folder's name"
    if "*" in name and ("**" in name or name.rindex("*") > name.find(".") or max(map(len, literal_rows(name))) < 3):
        return "matches too much: a pattern needs three consecutive letters, and its extension after its last *"
    if not is_plain(literal) or "." not in name:
        return "is not a file name"
    if re.fullmatch(r"Windows\\(System32|SysWOW64)", head):
        return "" if names_the_maker(name) else "is among the system's files and does not have the maker's letters"
    below, reason = parts_below_maker(row)
    if reason:
        return reason
    return "" if all(map(is_plain, below[:-1])) else "has a part that Windows does not allow"


def parts_of_key(row):
    hive, *parts = row.split("\\")
    if hive not in HIVES:
        return None, "does not begin with a root that the document may name"
    if not parts:
        return None, "names a whole root"
    if not all(map(is_plain, parts)):
        return None, "has a part that is empty or that Windows does not allow"
    if hive == "HKEY_CLASSES_ROOT":
        parts = ["software", "classes"] + parts
    if len(parts) > 1 and parts[1].lower() == "wow6432node":
        del parts[1]
    return parts, ""


def against_key(row):
    parts, reason = parts_of_key(row)
    if reason:
        return reason
    if parts[0].lower() == "software" and len(parts) > 1:
        if parts[1].lower() == "qbx":
            return "is the installer's own: only the last stage of a run may remove it"
        if parts[1].lower() in MAKERS_TOPS:
            return "" if len(parts) > 2 else "names a key in which other programs of the maker have theirs"
        if parts[1] == "UXF":
            return ""
    parent = "\\".join(parts[:-1]).lower()
    if parent == SERVICES_KEY:
        return against_service(parts[-1])
    if parent in SHARED_KEYS and sounds_of_the_maker(parts[-1]):
        return ""
    return "names a key that is not the maker's"


def against_value(row):
    key, _, name = row.rpartition("\\")
    if not name:
        return "names no value"
    parts, reason = parts_of_key(key)
    if reason:
        return reason
    if "\\".join(parts).lower() == RUN_KEY:
        return "" if sounds_of_the_maker(name) else "names a value that is not the maker's"
    return against_key(key)


def against_name(row):
    if not is_plain(row) or "\\" in row:
        return "is not a plain name"
    return "" if sounds_of_the_maker(row) else "does not contain the maker's name"


def against_service(row):
    # System services have the maker's letters in the middle: storvsc.
    return against_name(row) or ("" if re.match("orv|ktl", row, re.I) else "does not begin with the maker's letters")


def against_process(row):
    return against_name(row) or ("" if row.endswith(".exe") else "is not the file name of a program")


def against_shortcut(row):
    parts = row.split("\\")
    if len(parts) != 2 or not all(map(is_plain, parts)) or not re.fullmatch(r".+\.lnk", parts[1]):
        return "is not a folder of the Start Menu and a link in it"
    return "" if sounds_of_the_maker(parts[0]) else "would remove a folder that is not the maker's"


AGAINST = {"ScheduledTasks": against_name, "Services": against_service, "Shortcuts": against_shortcut,
           "Files": against_file, "RegistryKeys": against_key, "RegistryValues": against_value,
           "Process": against_process, "Directories": against_directory}


FORMS = ("INSTALL_DIR\\...", "INSTALL_DIR32\\...", "%LOCALAPPDATA%\\...", "%APPDATA%\\...", "%OTHER%\\...",
         "without a drive", "with a drive")


def form_of(row):
    first = row.split("\\")[0]
    if first.startswith("%"):
        known = first.upper() + "\\..."
        return known if known in FORMS[2:4] else "%OTHER%\\..."
    if first in ("INSTALL_DIR", "INSTALL_DIR32"):
        return first + "\\..."
    return "with a drive" if re.fullmatch("[A-Za-z]:", first) else "without a drive"
