// Marks what the shared library exports. The library is built with hidden
// visibility, so a host of the shared build links only against what its public
// headers declare, and internals can change without breaking it.
#pragma once

#if defined(__GNUC__)
#define ZSFF_API __attribute__((visibility("default")))
#else
#define ZSFF_API
#endif
