#pragma once

// hide and show: the folder's .hidden list that file managers honour.

namespace tool {

class Invocation;

/// Hides (or shows) the one PATH argument; the exit status.
int setVisibility(const Invocation& in, bool visible);

} // namespace tool
