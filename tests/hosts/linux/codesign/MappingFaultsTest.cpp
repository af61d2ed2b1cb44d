#include "hosts/linux/codesign/MappingFaults.h"

#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace InstallerCore::CodeSign {

namespace {

constexpr std::size_t size = 65536;

// A mapped file that is no longer there.
class CutFile {
public:
    CutFile() {
        const std::string path = directory_ / "file";
        Testing::writeFile(path, std::string(size, 'a'));
        const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        memory_ = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
        if (memory_ == MAP_FAILED || ::ftruncate(file, 0) != 0) {
            std::abort();
        }
        ::close(file);
    }

    CutFile(const CutFile&) = delete;
    CutFile& operator=(const CutFile&) = delete;

    ~CutFile() { ::munmap(memory_, size); }

    [[nodiscard]] ByteView bytes() const { return {static_cast<const std::byte*>(memory_), size}; }

    [[nodiscard]] std::byte read(std::size_t offset) const {
        return *static_cast<const volatile std::byte*>(static_cast<const std::byte*>(memory_) + offset);
    }

private:
    Testing::TemporaryDirectory directory_;
    void* memory_ = nullptr;
};

constexpr int handled = 42;

void endHandled(int) {
    ::_exit(handled);
}

void endHandledWithAddress(int, siginfo_t* info, void*) {
    ::_exit(info->si_addr != nullptr ? handled : 1);
}

// In a process where nothing was watched before: the handler is installed once.
class MappingFaultsDeathTest : public testing::Test {
protected:
    MappingFaultsDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST(MappingFaultsTest, remembersAFaultInItsMappingAlone) {
    const CutFile file;
    const CutFile other;
    const MappingFaults faults(file.bytes());
    const MappingFaults otherFaults(other.bytes());
    EXPECT_FALSE(faults.occurred());
    EXPECT_EQ(file.read(size - 1), std::byte{0});
    EXPECT_TRUE(faults.occurred());
    EXPECT_FALSE(otherFaults.occurred());
}

TEST_F(MappingFaultsDeathTest, aFaultInAnotherMappingEndsTheProcess) {
    EXPECT_DEATH(
        {
            const CutFile watched;
            const CutFile other;
            const MappingFaults faults(watched.bytes());
            static_cast<void>(other.read(0));
            ::_exit(0);
        },
        "");
}

TEST_F(MappingFaultsDeathTest, aMappingIsWatchedNoLongerThanTheObjectLives) {
    EXPECT_DEATH(
        {
            const CutFile file;
            {
                const MappingFaults faults(file.bytes());
            }
            static_cast<void>(file.read(0));
            ::_exit(0);
        },
        "");
}

TEST_F(MappingFaultsDeathTest, aFaultElsewhereGoesToTheHandlerBefore) {
    EXPECT_EXIT(
        {
            std::signal(SIGBUS, endHandled);
            const CutFile watched;
            const CutFile other;
            const MappingFaults faults(watched.bytes());
            static_cast<void>(watched.read(0)); // ours
            static_cast<void>(other.read(0));
            ::_exit(0);
        },
        testing::ExitedWithCode(handled), "");
    EXPECT_EXIT(
        {
            struct sigaction action = {};
            action.sa_sigaction = endHandledWithAddress;
            action.sa_flags = SA_SIGINFO;
            ::sigaction(SIGBUS, &action, nullptr);
            const CutFile watched;
            const CutFile other;
            const MappingFaults faults(watched.bytes());
            static_cast<void>(other.read(0));
            ::_exit(0);
        },
        testing::ExitedWithCode(handled), "");
}

TEST_F(MappingFaultsDeathTest, aSignalThatSomebodySentEndsTheProcess) {
    EXPECT_EXIT(
        {
            std::signal(SIGBUS, SIG_DFL); // a sanitizer's goes with an exit status
            const CutFile watched;
            const MappingFaults faults(watched.bytes());
            ::kill(::getpid(), SIGBUS);
            ::_exit(0);
        },
        testing::KilledBySignal(SIGBUS), "");
}

} // namespace

} // namespace InstallerCore::CodeSign
