#include "devices/match_rules.h"

#include <algorithm>

#include "devices/maker_words.h"
#include "system/text_case.h"

namespace {

constexpr wchar_t kSystemClass[] = L"system";
constexpr wchar_t kFilterDeviceId[] = L"0A0";
constexpr wchar_t kFilterDriver[] = L"orvpcifd";

using Lines = std::vector<std::wstring>;
using Matches = std::vector<DriverMatch>;

MatchRule ruleOf(const DriverPackage& driver) {
  if (driver.ClassName == kSystemClass && !driver.HardwareIds.empty()) {
    return MatchRule::HardwareId;
  }
  if (!driver.DeviceID.empty()) {
    return MatchRule::DeviceId;
  }
  if (driver.ClassName != kSystemClass) {
    return MatchRule::ClassName;
  }
  if (!driver.DeviceDesc.empty()) {
    return MatchRule::Description;
  }
  return driver.SibblingClassName.empty() || driver.SibblingCompatibleId.empty() ? MatchRule::None
                                                                                 : MatchRule::Siblings;
}

bool isMakersOemDriver(const DriverInfo& driver) {
  return driver.inf->isOem &&
         (containsMakerWord(toLower(driver.manufacturer)) || containsMakerWord(toLower(driver.provider)));
}

// Lists the device if one of its driver nodes is the maker's and comes from an OEM package. A device that only uses
// drivers shipped with Windows is never listed.
void listQualified(DeviceRecord& device, const DriverPackage& driver, Matches& listed, Lines& lines) {
  for (const std::unique_ptr<DriverInfo>& node : device.drivers) {
    const InfRecord& inf = *node->inf;
    lines.push_back(L"---------Device data------------" + node->description + L" - " + node->version + L" - " +
                    node->manufacturer + L" - " + node->provider);
    lines.push_back(L"---------INF data------------" + inf.catalogFile + L" - " + inf.className + L" - " +
                    inf.provider + L" - " + (inf.isOem ? L"1" : L"0"));
    // Stays in lower case, also for the next examination, until the removal refreshes the nodes.
    node->manufacturer = toLower(node->manufacturer);
    node->provider = toLower(node->provider);
    if (isMakersOemDriver(*node)) {
      listed.push_back({&device, driver});
      return;
    }
  }
}

// Skips devices that are already in the list. Every query creates new records, so devices are compared by id; an entry
// whose id begins with the candidate's id counts as the same device.
void listOnce(DeviceRecord& device, const DriverPackage& driver, Matches& listed, Lines& lines) {
  lines.push_back(L"---------toCheck: " + device.getDeviceId() + L"------------");
  for (const DriverMatch& match : listed) {
    lines.push_back(L"---------getDeviceId: " + match.device->getDeviceId() + L"------------");
    if (match.device->getDeviceId().starts_with(device.getDeviceId())) {
      return;
    }
  }
  listQualified(device, driver, listed, lines);
}

// A device that matches two of the hardware ids is listed twice.
void matchByHardwareId(DeviceRecord& device, const DriverPackage& driver, Matches& listed, Lines& lines) {
  if (device.hardwareIds.empty() || device.lowerFilters.empty() ||
      !contains(device.lowerFilters.front(), kFilterDriver)) {
    return;
  }
  for (const std::wstring& hardwareId : driver.HardwareIds) {
    if (contains(device.hardwareIds.front(), hardwareId)) {
      listQualified(device, driver, listed, lines);
    }
  }
}

void matchBySiblings(DeviceRecord& device, const DriverPackage& driver, Matches& listed, Lines& lines) {
  lines.push_back(L"---------sibblingClassName to find: " + driver.SibblingClassName +
                  L"-----sibblingCompatibleId to find: " + driver.SibblingCompatibleId + L"------------");
  for (const DeviceRecord* sibling : device.siblings) {
    const std::wstring siblingClass = toLower(sibling->getClassName());
    if (!contains(siblingClass, driver.SibblingClassName)) {
      continue;
    }
    lines.push_back(L"---------sibblingClassName: " + siblingClass + L"------------");
    // The device's own compatible ids, although the log line attributes them to the sibling.
    for (const std::wstring& compatibleId : device.compatibleIds) {
      lines.push_back(L"---------sibblingCompatibleId: " + compatibleId + L"------------");
      if (contains(compatibleId, driver.SibblingCompatibleId)) {
        listOnce(device, driver, listed, lines);
      }
    }
  }
}

}  // namespace

std::optional<DeviceQuery> PlanDeviceQuery(const DriverPackage& driver) {
  if (driver.ClassName.empty()) {
    return {};
  }
  switch (ruleOf(driver)) {
    case MatchRule::HardwareId:
      return DeviceQuery{.className = driver.ClassName, .secondaryIdFilter = kFilterDeviceId};
    case MatchRule::DeviceId:
      return DeviceQuery{.className = driver.ClassName, .primaryIdFilter = driver.DeviceID, .withSiblings = true};
    default:
      return DeviceQuery{.className = driver.ClassName, .withSiblings = true};
  }
}

std::vector<std::wstring> PlanMatches(const DriverPackage& driver, const std::vector<DeviceRecord*>& candidates,
                                      MatchLists& lists) {
  const MatchRule rule = ruleOf(driver);
  Lines lines;
  for (DeviceRecord* device : candidates) {
    switch (rule) {
      case MatchRule::HardwareId:
        matchByHardwareId(*device, driver, lists.devicesByHWID, lines);
        break;
      case MatchRule::DeviceId:
        listOnce(*device, driver, lists.devicesByDeviceID, lines);
        break;
      case MatchRule::ClassName:
        listOnce(*device, driver, lists.devicesByClassName, lines);
        break;
      case MatchRule::Description:
        if (contains(device->getDescription(), driver.DeviceDesc)) {
          listOnce(*device, driver, lists.devicesByDevDesc, lines);
        }
        break;
      case MatchRule::Siblings:
        matchBySiblings(*device, driver, lists.devicesBySibblings, lines);
        break;
      case MatchRule::None:
        break;
    }
  }
  return lines;
}
