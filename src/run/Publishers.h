#pragma once

#include "platform/PlatformString.h"

// The distinguished names that sign the product's packages: made before the entry point runs, released at process exit.
extern const Platform::String PublisherDnCurrent;
extern const Platform::String PublisherDnLegacy;
