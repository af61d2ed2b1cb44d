#include "tests/hosts/linux/window/ShippedCatalog.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace InstallerCore::Testing {

ShippedCatalog shippedCatalog() {
    std::ifstream file(KAVIO_CATALOG);
    const auto json = nlohmann::json::parse(file);
    ShippedCatalog catalog;
    for (const auto& [language, texts] : json.items()) {
        for (const InstallerMessage message : allInstallerMessages) {
            catalog[language][message] = texts.at(std::string(catalogKey(message))).get<std::string>();
        }
    }
    return catalog;
}

bool isRightToLeft(const std::string& language) {
    return language == "ar-SA" || language == "fa-IR";
}

bool isError(InstallerMessage message) {
    return catalogKey(message).ends_with("_error");
}

} // namespace InstallerCore::Testing
