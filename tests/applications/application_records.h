// application_records - application records for the tests of both uninstall passes, and the products with their upgrade
// codes.
#pragma once

#include <string>
#include <vector>

#include "applications/installer_products.h"
#include "manifest/records.h"
#include "support/msi_products.h"
#include "support/text.h"

inline ApplicationPackage application(const std::wstring& name, const std::wstring& upgradeCode) {
  ApplicationPackage record;
  record.Name = name;
  record.UpgradeID = upgradeCode;
  record.UninstallResult = 4711;
  return record;
}

inline std::vector<std::string> namesAndResults(const std::vector<ApplicationPackage>& records) {
  std::vector<std::string> rows;
  for (const ApplicationPackage& record : records) {
    rows.push_back(narrow(record.Name) + " " + std::to_string(record.UninstallResult));
  }
  return rows;
}

// The products with an upgrade code, in the installer's order.
inline std::vector<const MsiProduct*> relatedInOrder(const std::wstring& upgradeCode) {
  std::vector<const MsiProduct*> products;
  for (DWORD index = 0; const auto code = FindRelatedProduct(upgradeCode, index); ++index) {
    for (const MsiProduct* product : {&kWidget, &kGadget, &kTwin, &kNeighbour}) {
      if (product->productCode == *code) {
        products.push_back(product);
      }
    }
  }
  return products;
}
