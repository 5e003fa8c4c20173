# manifest_devices.jq - for each driver package of a cleanup manifest a device that the package means and the driver package
# behind it; and beside each a device of another maker, whose id or description differs by one letter. Two kinds of lines:
#
#   plant     a line of a plant list
#   outcome   WHAT NAME OUTCOME PACKAGE   gone | driverless | stays (bench/devices.sh); PACKAGE is the manifest's, or - for
#                                         the neighbours; `credited` behind it: a removed device counts as the package's

# A class as Windows writes it. The machine's start rewrites what it finds below Enum\ROOT, with its GUID in capitals; and of
# the display devices elsewhere it deletes those whose class is written so.
def class: {
  audioprocessingobject: ["AudioProcessingObject", "{5989FCE8-9CD0-467D-8A6A-5419E31529D4}"],
  computeaccelerator: ["ComputeAccelerator", "{F01A9D53-3FF6-48D2-9F97-C8A7004BE10C}"],
  display: ["Display", "{4D36E968-E325-11CE-BFC1-08002BE10318}"],
  extension: ["Extension", "{E2F84CE7-8EFA-411C-AA69-97454CA4CB57}"],
  hidclass: ["HIDClass", "{745A17A0-74D3-11D0-B6FE-00A0C90F57DA}"],
  media: ["MEDIA", "{4D36E96C-E325-11CE-BFC1-08002BE10318}"],
  net: ["Net", "{4D36E972-E325-11CE-BFC1-08002BE10318}"],
  softwarecomponent: ["SoftwareComponent", "{5C4C3332-344D-483C-8739-259E934C9CC8}"],
  system: ["System", "{4D36E97D-E325-11CE-BFC1-08002BE10318}"],
  usb: ["USB", "{36FC9E60-C465-11CF-8056-444553540000}"]
}[.ClassName | ascii_downcase];
def near: .[:-1] + (if endswith("x") then "y" else "x" end);
def number: tostring | "0000"[length:] + .;
def line: "plant\t" + join("\t");

# A device with a driver that is its own.
def device($id; $info; $description; $parent; $fields):
  ($info | class) as $class
  | ["device", $id, $class[0], $description, "parent=\($parent)",
     "guid=" + ($class[1] | if $id | startswith("ROOT") then . else ascii_downcase end)] + $fields | line;
def driver($id; $info; $maker; $inf; $catalog):
  (["driver-node", $id, $inf, $maker, $maker, "1.0.0.1"] | line),
  (($info | class) as $class
  | (["package", $inf, $class[0], $maker, $catalog, "guid=\($class[1])"] | line));

( "plant\tdevice\tACPI\\PNP0A08\\0\tSystem\tPCI Express Root Complex\thwids=ACPI\\PNP0A08",
  "plant\tdriver-node\tACPI\\PNP0A08\\0\tpci.inf\tMicrosoft\t(Standard system devices)\t10.0.22621.1",
  "outcome\tdevice\tACPI\\PNP0A08\\0\tstays\t-" ),
( (.InclusionList.Drivers + ["DisplayDriver", "DisplayDriver64"]) as $included
| .Packages.ORVDrivers
# Packages that have nothing but a class share its devices, and the first one gets them all.
| (reduce (to_entries[] | select(.key | IN($included[]))
    | select(.value.Info | .ClassName != "system" and .DeviceID == "")) as $package
    ({}; ($package.value.Info.ClassName | ascii_downcase) as $class | .[$class] //= $package.key)) as $first
| to_entries | to_entries[]
| (.key + 100) as $n | .value.key as $name | .value.value.Info as $info
| ($info.DeviceDesc | if . == "" then "Orvane \($name)" else . end) as $description
| ($info.ClassName | ascii_downcase) as $class
| ("&SUBSYS_00017A11&REV_00\\4&0&0&" + ($n | number)) as $instance
| (if $info.DeviceID != "" then $info.DeviceID + "\\0000"
   elif $info.ID != "" then ($info.ID | split(",")[0]) + $instance
   else "PCI\\VEN_7A11&DEV_" + ($n + 7000 | number) + $instance end) as $id
| (if $info.DeviceID != "" then ($info.DeviceID | near) + "\\0000"
   else $id | sub("VEN_7A11"; "VEN_7A12") end) as $beside
| (["hwids=" + ($id | sub("\\\\[^\\\\]*$"; ""))]
   + (if $info.SibblingCompatibleId != "" then ["compatible=" + $info.SibblingCompatibleId] else [] end)) as $fields
| (if $info.ID != "" then $fields + ["filters=" + .value.value.Services[0]] else $fields end) as $fields
# Each has a port of its own, for a device is compared with all that are beside it. A companion is beside the display device.
| ("PCI\\VEN_1234&DEV_1450&SUBSYS_14501234&REV_00\\3&0&0&"
   + (if $info.SibblingClassName != "" then 100 else $n end | number)) as $port
| (if $name | IN($included[]) | not then "stays" elif $class == "extension" then "driverless" else "gone" end) as $outcome
| (if $outcome == "gone" and ($class == "system" or $info.DeviceID != "" or $first[$class] == $name)
   then "\tcredited" else "" end) as $credited
| (select($info.SibblingClassName == "") |
    "plant\tdevice\t\($port)\tSystem\tPCI Express Root Port\tparent=ACPI\\PNP0A08\\0\thwids=PCI\\VEN_1234&DEV_1450",
    "plant\tdriver-node\t\($port)\tpci.inf\tMicrosoft\t(Standard system devices)\t10.0.22621.1",
    "outcome\tdevice\t\($port)\tstays\t-"),
  device($id; $info; $description; $port; $fields),
  driver($id; $info; "Orvane Devices, Inc."; "oem\($n).inf"; "orvmanifest\($n).cat"),
  "outcome\tdevice\t\($id)\t\($outcome)\t\($name)\($credited)",
  "outcome\tpackage\toem\($n).inf\t\(if $outcome == "stays" then "stays" else "gone" end)\t\($name)",
  device($beside; $info; $description | near; $port; ["hwids=" + ($beside | sub("\\\\[^\\\\]*$"; ""))]),
  driver($beside; $info; "Other Maker"; "oem\($n + 100).inf"; "other\($n).cat"),
  "outcome\tdevice\t\($beside)\tstays\t-",
  "outcome\tpackage\toem\($n + 100).inf\tstays\t-"
)
