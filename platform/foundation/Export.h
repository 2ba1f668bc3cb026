#pragma once

/// Exports a symbol from the library, which hides the implementation of the ports.
#define QF_EXPORT [[gnu::visibility("default")]]
