#pragma once

#include "InstallerCore/platform/Files.h"

#include <gmock/gmock.h>

namespace InstallerCore::Testing {

// A file system of which a test says what it answers; for answers that a real one does not give.
class MockDirectory : public Directory {
public:
    MOCK_METHOD(std::vector<std::string>, names, (), (const, override));
    MOCK_METHOD(FileAttributes, attributes, (const std::string&), (const, override));
    MOCK_METHOD(void, createIfMissing, (const std::string&), (noexcept, override));
    MOCK_METHOD(std::unique_ptr<FileHandle>, open, (const std::string&, FileAccess), (override));
    MOCK_METHOD(void, replace, (const std::string&, ByteView), (override));
    MOCK_METHOD(void, remove, (const std::string&), (override));
    MOCK_METHOD(std::unique_ptr<FileLock>, lock, (const std::string&), (override));
};

class MockFiles : public Files {
public:
    MOCK_METHOD(std::filesystem::path, homeDirectory, (), (const, override));
    MOCK_METHOD(void, createDirectory, (const std::filesystem::path&), (override));
    MOCK_METHOD(FileAttributes, attributes, (const std::filesystem::path&), (const, override));
    MOCK_METHOD(void, makePrivate, (const std::filesystem::path&), (override));
    MOCK_METHOD(std::unique_ptr<Directory>, openDirectory, (const std::filesystem::path&), (override));
    MOCK_METHOD(std::unique_ptr<FileHandle>, openForReading, (const std::filesystem::path&), (override));
};

} // namespace InstallerCore::Testing
