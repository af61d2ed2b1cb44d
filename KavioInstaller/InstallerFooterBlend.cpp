#include "KavioInstaller/InstallerFooterBlend.h"

namespace InstallerCore {

Drawing InstallerFooterBlend::draw(Size size) {
    constexpr Color white = Color::gray(1);
    return {FillGradient{.rectangle = {.x = 0, .y = 0, .width = size.width, .height = size.height},
                         .top = white.withAlpha(0),
                         .bottom = white}};
}

} // namespace InstallerCore
