#pragma once

#include "KavioInstaller/Drawing.h"

class QPainter;

namespace InstallerCore {

// Carries out the operations in the painter's coordinates, at the density of what it paints on. The painter's
// state is as before afterwards.
void paint(QPainter& painter, const Drawing& drawing);

} // namespace InstallerCore
