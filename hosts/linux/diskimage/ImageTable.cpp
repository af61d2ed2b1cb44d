#include "hosts/linux/diskimage/ImageTable.h"

#include "InstallerCore/support/UnicodeText.h"

#include <algorithm>

namespace InstallerCore {

namespace {

constexpr int blockSize = 512;

std::string escaped(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '\r': // a reader would take it for a newline
            result += "&#13;";
            break;
        default:
            result += letter;
        }
    }
    return result;
}

std::string member(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key>" + value + "\n";
}

std::string text(const std::string& key, const std::string& value) {
    return member(key, "<string>" + escaped(value) + "</string>");
}

std::string flag(const std::string& key, bool value) {
    return member(key, value ? "<true/>" : "<false/>");
}

std::string number(const std::string& key, std::int64_t value) {
    return member(key, "<integer>" + std::to_string(value) + "</integer>");
}

std::string array(const std::string& key, const std::string& items) {
    return member(key, "<array>\n" + items + "</array>");
}

std::string dictionary(const std::string& members) {
    return "<dict>\n" + members + "</dict>\n";
}

std::string document(const std::string& members) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
)" + dictionary(members) +
           "</plist>\n";
}

std::string entities(const MountRecord& record, const std::filesystem::path& volumes) {
    std::string items;
    for (const SystemEntity& entity : record.entities) {
        std::string members = text("content-hint", entity.contentHint) + text("dev-entry", entity.device);
        if (entity.volume) {
            members += text("mount-point", (volumes / entity.volume->name).string());
        }
        members += flag("potentially-mountable", entity.mountable) +
                   text("unmapped-content-hint", entity.unmappedContentHint);
        if (entity.volume) {
            members += text("volume-kind", entity.volume->kind);
        }
        items += dictionary(members);
    }
    return array("system-entities", items);
}

} // namespace

std::string attachedTable(const MountRecord& record, const std::filesystem::path& volumes) {
    return document(entities(record, volumes));
}

std::string imageTable(const std::vector<MountRecord>& records, const std::filesystem::path& volumes) {
    std::string images;
    for (const MountRecord& record : records) {
        images += dictionary(number("blockcount", record.blockCount) + number("blocksize", blockSize) +
                             flag("image-encrypted", false) + text("image-path", record.image.path) +
                             text("image-type", "read-only disk image") + flag("removable", true) +
                             entities(record, volumes) + flag("writeable", false));
    }
    return document(text("framework", "1") + array("images", images));
}

bool isPrintable(std::string_view text) {
    return isUtf8(text) && std::ranges::none_of(text, [](char letter) {
               return static_cast<unsigned char>(letter) < ' ' && letter != '\t' && letter != '\n' &&
                      letter != '\r';
           });
}

} // namespace InstallerCore
