#pragma once
// The ordered collection of the engine: items in insertion order, positions
// from 1, each item with an optional text key compared without regard to case
// (Unicode case folding, as names compare). An item whose key is already in use
// is refused: Add says so and the collection is unchanged. Callers rely on that
// refusal to drop duplicates.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/text_util.h"

namespace vlq {

template <class T>
class Collection {
  // Declared ahead of the iterator that names it (clang needs it there).
  struct Entry;

 public:
  // Appends the item; false (and nothing added) when the key is in use.
  bool Add(T item, std::optional<std::string_view> key = std::nullopt) {
    std::optional<std::string> original;
    if (key) {
      std::string folded = text::Fold(*key);
      if (index_.count(folded) != 0) return false;
      index_.emplace(std::move(folded), items_.size());
      original.emplace(*key);
    }
    items_.push_back(Entry{std::move(item), std::move(original)});
    return true;
  }

  std::size_t Count() const { return items_.size(); }
  bool Empty() const { return items_.empty(); }

  // Position from 1; nullptr outside 1..Count.
  const T* Item(std::size_t position) const {
    return position >= 1 && position <= items_.size() ? &items_[position - 1].item : nullptr;
  }
  T* Item(std::size_t position) {
    return position >= 1 && position <= items_.size() ? &items_[position - 1].item : nullptr;
  }
  // By key, case-blind; nullptr when there is no such key.
  const T* Item(std::string_view key) const {
    auto it = index_.find(text::Fold(key));
    return it == index_.end() ? nullptr : &items_[it->second].item;
  }
  T* Item(std::string_view key) {
    auto it = index_.find(text::Fold(key));
    return it == index_.end() ? nullptr : &items_[it->second].item;
  }
  bool Contains(std::string_view key) const { return index_.count(text::Fold(key)) != 0; }

  void Remove(std::size_t position) {
    if (position < 1 || position > items_.size()) return;
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position - 1));
    Reindex();
  }
  void Clear() {
    items_.clear();
    index_.clear();
  }

  // Iteration over the items in order.
  class const_iterator {
   public:
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    explicit const_iterator(typename std::vector<typename Collection::Entry>::const_iterator it) : it_(it) {}
    const T& operator*() const { return it_->item; }
    const T* operator->() const { return &it_->item; }
    const_iterator& operator++() {
      ++it_;
      return *this;
    }
    const_iterator operator++(int) {
      auto copy = *this;
      ++it_;
      return copy;
    }
    friend bool operator==(const const_iterator&, const const_iterator&) = default;

   private:
    typename std::vector<typename Collection::Entry>::const_iterator it_;
  };
  const_iterator begin() const { return const_iterator(items_.begin()); }
  const_iterator end() const { return const_iterator(items_.end()); }

  // The key an item was added under, as it was given, if any.
  std::optional<std::string> KeyAt(std::size_t position) const {
    if (position < 1 || position > items_.size()) return std::nullopt;
    return items_[position - 1].key;
  }

 private:
  struct Entry {
    T item;
    std::optional<std::string> key;  // as given to Add
  };
  void Reindex() {
    index_.clear();
    for (std::size_t i = 0; i < items_.size(); ++i) {
      if (items_[i].key) index_.emplace(text::Fold(*items_[i].key), i);
    }
  }
  std::vector<Entry> items_;
  std::unordered_map<std::string, std::size_t> index_;
};

// A keyed set of texts: a second add of a key does nothing, iteration follows
// first insertion. Keys are compared without regard to case.
class KeyedSet {
 public:
  void Add(std::string_view key) { keys_.Add(std::string(key), key); }
  bool Contains(std::string_view key) const { return keys_.Contains(key); }
  std::size_t Count() const { return keys_.Count(); }
  bool Empty() const { return keys_.Empty(); }
  void Clear() { keys_.Clear(); }
  auto begin() const { return keys_.begin(); }
  auto end() const { return keys_.end(); }

 private:
  Collection<std::string> keys_;
};

}  // namespace vlq
