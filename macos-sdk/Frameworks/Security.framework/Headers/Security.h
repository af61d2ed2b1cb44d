#pragma once

#include <Security/CSCommon.h>
#include <Security/SecBase.h>
#include <Security/SecProtocolTypes.h>
#include <Security/SecRequirement.h>
#include <Security/SecStaticCode.h>
