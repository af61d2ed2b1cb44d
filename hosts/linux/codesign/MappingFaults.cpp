#include "hosts/linux/codesign/MappingFaults.h"

#include "hosts/linux/codesign/SignatureError.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace InstallerCore::CodeSign {

namespace {

// All that the handler touches is lock-free.
struct Watch {
    std::atomic<bool> taken = false;
    std::atomic<std::uintptr_t> begin = 0; // 0: not yet, or no longer
    std::atomic<std::uintptr_t> end = 0;
    std::atomic<bool> faulted = false;
};

constexpr std::size_t mostMappings = 1024;

std::array<Watch, mostMappings> watches; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
struct sigaction previous;               // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
std::size_t pageSize = 0;                // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

Watch* watchOf(std::uintptr_t address) {
    for (Watch& watch : watches) {
        const std::uintptr_t begin = watch.begin.load();
        if (begin != 0 && address >= begin && address < watch.end.load()) {
            return &watch;
        }
    }
    return nullptr;
}

void passOn(int number, siginfo_t* info, void* context) {
    if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
        previous.sa_sigaction(number, info, context);
        return;
    }
    if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(number);
        return;
    }
    ::signal(number, SIG_DFL); // NOLINT(cert-err33-c)
    ::raise(number);           // NOLINT(cert-err33-c): ends the process when this handler returns
}

void fillIn(int number, siginfo_t* info, void* context) {
    const int error = errno;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): an address as the kernel reports it
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    Watch* const watch = info->si_code > 0 ? watchOf(address) : nullptr; // else another process sent it
    if (watch == nullptr) {
        passOn(number, info, context);
    } else {
        watch->faulted.store(true);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast,performance-no-int-to-ptr)
        auto* const page = reinterpret_cast<void*>(address - address % pageSize);
        // The bare system call: nothing says that the library's function may be called in a handler. Two
        // threads may both find the page missing, which puts zeros in the place of zeros.
        if (::syscall(SYS_mmap, page, pageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) ==
            -1) {
            ::signal(number, SIG_DFL); // NOLINT(cert-err33-c): there is no way on
        }
    }
    errno = error;
}

bool installHandler() {
    pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    struct sigaction action = {};
    action.sa_sigaction = fillIn;
    action.sa_flags = SA_SIGINFO;
    ::sigemptyset(&action.sa_mask);
    return ::sigaction(SIGBUS, &action, &previous) == 0;
}

std::size_t takePlace() {
    for (std::size_t place = 0; place < watches.size(); ++place) {
        if (!watches.at(place).taken.exchange(true)) {
            return place;
        }
    }
    throw SignatureError("too many files are being looked at");
}

} // namespace

MappingFaults::MappingFaults(ByteView mapping) {
    static const bool installed = installHandler();
    demand(installed, "the system does not let its faults be handled");
    place_ = takePlace();
    Watch& watch = watches.at(place_);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): compared with what the kernel reports
    const auto begin = reinterpret_cast<std::uintptr_t>(mapping.data());
    watch.faulted.store(false);
    // The kernel maps whole pages, and the file may lose its last one.
    watch.end.store(begin + (mapping.size() + pageSize - 1) / pageSize * pageSize);
    watch.begin.store(begin);
}

MappingFaults::~MappingFaults() {
    Watch& watch = watches[place_];
    watch.begin.store(0);
    watch.taken.store(false);
}

bool MappingFaults::occurred() const noexcept {
    return watches[place_].faulted.load();
}

} // namespace InstallerCore::CodeSign
