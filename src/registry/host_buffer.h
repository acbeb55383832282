// Growable byte buffers on a host object's heap, for the scratch space of
// operations that read names and values of unknown size.
#pragma once

#include <cstdint>

namespace trove {

class HostBuffer {
 public:
  // Passed as a size: "as it is" (reserve: just give data; resize: the size).
  static constexpr uint32_t kCurrent = 0xFFFFFFFFu;

  // Blocks come from, and go back to, the heap of `heapObject` (word 1).
  explicit HostBuffer(const void* heapObject) : heap(heapObject) {}
  virtual ~HostBuffer();
  HostBuffer(const HostBuffer&) = delete;
  HostBuffer& operator=(const HostBuffer&) = delete;

  // Makes size n and returns data. When n exceeds the capacity a block of
  // exactly n bytes replaces data; with keep the bytes in use survive. Null
  // when no block came back, and the buffer is then empty. (An empty plain
  // HostBuffer asked for 0 bytes has no data either.)
  virtual uint8_t* reserve(uint32_t n, bool keep);
  // Makes the capacity exactly n (0: reset). Size and capacity become n, or
  // 0 on failure; returns data, null on failure.
  virtual uint8_t* resize(uint32_t n, bool keep);
  // Gives data back; size and capacity become 0.
  virtual void reset();

  uint8_t* data = nullptr;
  uint32_t size = 0;
  uint32_t capacity = 0;
  const void* heap;  // the host object whose services serve data

 protected:
  // Replaces data by a heap block of exactly n bytes; false when none came.
  bool replaceBlock(uint32_t n, bool keep);
  // Whether data is a heap block (and not storage of a derived buffer).
  virtual bool onHeap() const { return data != nullptr; }
  // Leaves the buffer empty after a failure, data released.
  virtual void becomeEmpty();
};

// A HostBuffer with 256 bytes inside itself that serve every size up to 256
// without touching the heap. The area is never given to the heap, and reset
// returns to it.
class InlineHostBuffer : public HostBuffer {
 public:
  static constexpr uint32_t kInlineSize = 256;

  explicit InlineHostBuffer(const void* heapObject);
  ~InlineHostBuffer() override;

  // Up to 256 bytes live in the inline area, whose capacity stays 256.
  uint8_t* resize(uint32_t n, bool keep) override;
  void reset() override;

  bool isInline() const { return data == area_; }

 protected:
  bool onHeap() const override { return data != nullptr && data != area_; }
  void becomeEmpty() override { reset(); }

 private:
  alignas(8) uint8_t area_[kInlineSize];
};

}  // namespace trove
