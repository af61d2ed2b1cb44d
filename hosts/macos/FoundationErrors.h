#pragma once

#include "InstallerCore/support/PlatformError.h"

#import <Foundation/Foundation.h>

// The one place where Foundation's errors become ours. For Objective-C++ only. Nil counts as an unknown one.
namespace InstallerCore {

[[nodiscard]] UrlErrorCode urlErrorCode(NSError* _Nullable error);
[[nodiscard]] FileErrorCode fileErrorCode(NSError* _Nullable error);

} // namespace InstallerCore
