// How deep elements may nest in a store file. The reader recurses once per
// level, so the bound keeps a hostile file from exhausting the stack; the
// writer refuses trees it could not read back.
#pragma once

namespace trove {

// Levels of element content open at once, the store's root element counting
// as the first. A thousand levels is far beyond any real configuration and
// costs well under a megabyte of stack.
inline constexpr int kMaxXmlNesting = 1000;

}  // namespace trove
