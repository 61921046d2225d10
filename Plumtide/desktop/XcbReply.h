#pragma once

#include <cstdlib>
#include <memory>

/// Frees what XCB has allocated for its caller.
struct XcbFree
{
    void operator()(void *memory) const { std::free(memory); }
};

/// An answer of the X server; null when there was none.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;
