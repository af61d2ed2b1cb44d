#pragma once

#include <Foundation/NSString.h>

typedef NSString* NSAttributedStringKey;
