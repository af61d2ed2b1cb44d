#include "hosts/macos/window/QuitSignals.h"

#include "hosts/macos/window/WithoutThrowing.h"

namespace InstallerCore {

QuitSignals::QuitSignals(std::function<void()> heard) {
    for (std::size_t index = 0; index < quitSignals.size(); ++index) {
        const int number = quitSignals.at(index);
        // Not ignored: what is started from here would ignore it too.
        std::signal(number, [](int) {});
        dispatch_source_t source = dispatch_source_create(
            DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(number), 0, dispatch_get_main_queue());
        dispatch_source_set_event_handler(source, ^{
            withoutThrowing(heard);
        });
        dispatch_resume(source);
        sources_.at(index) = source;
    }
}

} // namespace InstallerCore
