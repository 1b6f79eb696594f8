// The property table of an adjustable effect: entries that point at the effect's own members.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/Com.h"

// Constraint kinds of an entry.
enum PropertyConstraint : std::int16_t {
  kConstraintRange = 0,
  kConstraintChoices = 2,
};

struct UIPropertyEntry {
  std::int32_t id = 0;
  std::uint32_t flags = 0;
  void* value = nullptr;  // the effect's member; not owned
  std::int16_t constraintKind = kConstraintRange;
  std::int32_t minimum = 0;     // range
  std::int32_t maximum = 0;     // range
  IUnknown* choices = nullptr;  // list of choices, one reference owned by the entry

  int Kind() const { return static_cast<int>(flags & kPropKindMask); }
};

// A growable array of entry pointers, grown `growth` slots at a time.
class UIPropertyTable {
 public:
  explicit UIPropertyTable(int growth) : growth_(growth) {}
  ~UIPropertyTable() { Clear(); }
  UIPropertyTable(const UIPropertyTable&) = delete;
  UIPropertyTable& operator=(const UIPropertyTable&) = delete;

  // A new entry at the end (flags as given; kind bits not adjusted).
  UIPropertyEntry* Append(int id, void* value, unsigned flags);
  // The first entry with that id, or null.
  UIPropertyEntry* Find(int id) const;
  // Frees every entry and the array. A count of 0 or above 1000 is taken as a table that must
  // not be touched: nothing is freed then.
  void Clear();

  int Count() const { return count_; }
  int Capacity() const { return capacity_; }
  UIPropertyEntry* At(int index) const { return entries_[index]; }

 private:
  UIPropertyEntry** entries_ = nullptr;
  int count_ = 0;
  int capacity_ = 0;
  int growth_;
};
