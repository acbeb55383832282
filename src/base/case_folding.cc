#include "base/case_folding.h"

#include "base/case_folding_table.h"

namespace trove {

FoldedCodePoint caseFold(uint32_t codePoint) {
  using namespace case_folding;
  uint32_t i = kHash[codePoint & 0x1FF] ^ ((codePoint >> 8) & 0x1FF);
  if (i < kEntryCount && kEntries[i].codePoint == codePoint) {
    const Entry& entry = kEntries[i];
    FoldedCodePoint folded{3u - entry.count, {0, 0, 0}};
    for (uint32_t k = 0; k < entry.count; ++k) {
      folded.slots[folded.start + k] = kPool[entry.poolIndex + k];
    }
    return folded;
  }
  return FoldedCodePoint{2, {0, 0, codePoint}};
}

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

// Reads code points from UTF-8 that ends at a NUL byte or after a count.
class Utf8Reader {
 public:
  // A null name reads as the empty name.
  explicit Utf8Reader(const char* text) : p_(bytes(text != nullptr ? text : "")), end_(nullptr) {}
  Utf8Reader(const char* text, std::size_t length)
      : p_(bytes(text != nullptr ? text : "")), end_(p_ + (text != nullptr ? length : 0)) {}

  bool atEnd() const { return end_ != nullptr ? p_ == end_ : *p_ == 0; }

  // Precondition: !atEnd().
  uint32_t next() {
    uint8_t lead = *p_++;
    int continuations;
    uint32_t value;
    if (lead < 0x80) {
      return lead;
    } else if (lead >= 0xC0 && lead <= 0xDF) {
      continuations = 1;
      value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      continuations = 2;
      value = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF7) {
      continuations = 3;
      value = lead & 0x07;
    } else {
      return kReplacement;  // a stray continuation byte or 0xF8-0xFF
    }
    uint8_t seen = 0;
    for (int k = 0; k < continuations; ++k) {
      if (atEnd()) {
        return kReplacement;  // cut short; the end stays the end
      }
      uint8_t byte = *p_++;
      seen |= byte;
      value = (value << 6) | (byte & 0x3F);
    }
    return (seen & 0xC0) == 0x80 ? value : kReplacement;
  }

 private:
  static const uint8_t* bytes(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

  const uint8_t* p_;
  const uint8_t* end_;  // null: the text ends at its NUL
};

// The folded code points of a name, one at a time.
class FoldedReader {
 public:
  explicit FoldedReader(Utf8Reader reader) : reader_(reader) {}

  bool atEnd() const { return pending_ == 3 && reader_.atEnd(); }

  uint32_t next() {
    if (pending_ == 3) {
      folded_ = caseFold(reader_.next());
      pending_ = folded_.start;
    }
    return folded_.slots[pending_++];
  }

 private:
  Utf8Reader reader_;
  FoldedCodePoint folded_{3, {0, 0, 0}};
  uint32_t pending_ = 3;  // next slot of folded_ to hand out; 3 when none is left
};

bool foldedEqual(FoldedReader a, FoldedReader b) {
  while (!a.atEnd() && !b.atEnd()) {
    if (a.next() != b.next()) {
      return false;
    }
  }
  return a.atEnd() && b.atEnd();
}

uint8_t asciiFolded(uint8_t c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<uint8_t>(c + ('a' - 'A')) : c;
}

// Names are nearly always ASCII. Walks both while the bytes at hand are
// ASCII: an ASCII byte folds to one ASCII code point, so a difference there is
// final. At the first other byte, the general comparison takes over from that
// point, where neither side has folded code points pending.
bool namesEqualFrom(const uint8_t* a, const uint8_t* aEnd, const uint8_t* b) {
  for (;; ++a, ++b) {
    const bool aDone = aEnd != nullptr ? a == aEnd : *a == 0;
    if (aDone) {
      if (*b == 0) return true;
      if (*b < 0x80) return false;
      break;
    }
    if (*b == 0) return false;
    if (*a >= 0x80 || *b >= 0x80) break;
    if (asciiFolded(*a) != asciiFolded(*b)) return false;
  }
  const char* restA = reinterpret_cast<const char*>(a);
  const char* restB = reinterpret_cast<const char*>(b);
  Utf8Reader readerA =
      aEnd != nullptr ? Utf8Reader(restA, static_cast<std::size_t>(aEnd - a)) : Utf8Reader(restA);
  return foldedEqual(FoldedReader(readerA), FoldedReader(Utf8Reader(restB)));
}

const uint8_t* bytesOf(const char* text) {
  return reinterpret_cast<const uint8_t*>(text != nullptr ? text : "");
}

}  // namespace

bool namesEqual(const char* a, const char* b) {
  return namesEqualFrom(bytesOf(a), nullptr, bytesOf(b));
}

bool namesEqual(const char* a, std::size_t aLength, const char* b) {
  const uint8_t* start = bytesOf(a);
  return namesEqualFrom(start, start + (a != nullptr ? aLength : 0), bytesOf(b));
}

uint32_t foldedNameHash(const char* name, std::size_t length) {
  // FNV-1a over the folded code points; ASCII bytes fold without the table.
  uint32_t hash = 2166136261u;
  auto mix = [&hash](uint32_t codePoint) { hash = (hash ^ codePoint) * 16777619u; };
  const uint8_t* p = bytesOf(name);
  const uint8_t* end = p + (name != nullptr ? length : 0);
  while (p < end && *p < 0x80) mix(asciiFolded(*p++));
  if (p == end) return hash;
  FoldedReader rest(
      Utf8Reader(reinterpret_cast<const char*>(p), static_cast<std::size_t>(end - p)));
  while (!rest.atEnd()) mix(rest.next());
  return hash;
}

}  // namespace trove
