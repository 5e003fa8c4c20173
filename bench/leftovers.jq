# leftovers.jq - turns a cleanup manifest into rows of three columns, cut at tabs:
#
#   listed | kept | beside     what is to go, what is protected, what only looks as if a row meant it
#   file folder key empty-key value service task process shortcut
#   the full path or the name
#
# Called with --arg local and roaming (the user's application data folders), --arg sid (the user's identifier), and
# --argjson packages: the fates of packages by their names, with `beside` for those without; null leaves packages out.

def installFolder: "C:\\Program Files\\ORV";
def installFolder32: "C:\\Program Files (x86)\\ORV";

# A file or directory row as the path that it means on a machine whose install folder is the usual one.
def fullPath:
  if startswith("%") then
    capture("^%(?<name>.*)%(?<tail>[^%]*)$")
    | if (.name | ascii_downcase) == "localappdata" then $local + .tail
      elif (.name | ascii_downcase) == "appdata" then $roaming + .tail
      else "C:" + .tail end
  elif startswith("INSTALL_DIR32") then installFolder32 + sub("^[^\\\\]*"; "")
  elif startswith("INSTALL_DIR") then installFolder + sub("^[^\\\\]*"; "")
  elif test("^[A-Za-z]:") then .
  else "C:\\" + . end;

def rows($fate; $kind; $list; text): $list[] | select(. != "") | text | "\($fate)\t\($kind)\t\(.)";

# A user's identifier can't be left open in a registry row, and other variables than the two known ones name no folder.
def literal: select(contains("S-1-5-21-***"));
def definite: select(contains("S-1-5-21-***") | not);
def elsewhere: select(test("^%SystemRoot%"; "i"));

( .Generic
| rows("listed"; "task"; .ScheduledTasks; .),
  rows("listed"; "service"; .Services; .),
  rows("listed"; "shortcut"; .Shortcuts; .),
  rows("listed"; "file"; .Files; fullPath),
  rows("listed"; "folder"; .Directories; fullPath),
  rows("listed"; "key"; .RegistryKeys; definite),
  rows("listed"; "empty-key"; .RegistryKeysEmpty; .),
  rows("listed"; "value"; .RegistryValues; definite),
  rows("listed"; "process"; .Process; .),
  rows("beside"; "folder"; .Directories; elsewhere | sub("^%[^%]*%"; "C:\\windows")),
  rows("beside"; "file"; .Files; elsewhere | sub("^%[^%]*%"; "C:\\windows")),
  rows("beside"; "key"; .RegistryKeys; literal | sub("S-1-5-21-\\*\\*\\*"; $sid))
),
( .ExclusionList
| rows("kept"; "task"; .ScheduledTasks; .),
  rows("kept"; "service"; .Services; .),
  rows("kept"; "file"; .Files; fullPath),
  rows("kept"; "folder"; .Directories; fullPath),
  rows("kept"; "key"; .RegistryKeys; .),
  rows("kept"; "value"; .RegistryValues; .),
  rows("kept"; "process"; .Process; .)
),
( select($packages)
| .InclusionList.Drivers as $included
| .Packages | (.ORVDrivers, .ORVApplications) | to_entries[]
| ($packages[.key] // "beside") as $fate
# A run takes the services of the drivers that it considers, whether it finds a device or not.
| (if .key | IN($included[], "DisplayDriver", "DisplayDriver64") then "listed" else "kept" end) as $fateOfServices
| .value
| rows($fate; "file"; .Files // []; fullPath),
  rows($fate; "folder"; .Directories; fullPath),
  rows($fate; "key"; .RegistryKeys; .),
  rows($fate; "value"; .RegistryValues; .),
  rows($fate; "process"; .Process // []; .),
  rows($fateOfServices; "service"; .Services // []; .)
)
