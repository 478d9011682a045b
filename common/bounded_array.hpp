// Bounded arrays as the published interface knows them: rank 1 or 2, each dimension with its
// own lower and upper bound, first index varying fastest, checked element access and checked
// block copies. Storage is one contiguous block so tables move with memcpy.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include "common/errors.hpp"
#include "common/huge_pages.hpp"

namespace tkstream63 {

template <class T>
class Array {
public:
    using value_type = T;

    // An empty rank-1 array with bounds (0 To -1).
    Array() = default;
    Array(int32_t lower, int32_t upper) { redim(lower, upper); }
    Array(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
        redim(lower1, upper1, lower2, upper2);
    }

    // An array over a block owned by someone else (an adapter handing a host's array to the
    // library without copying it). Elements are read and written in place; re-dimensioning gives
    // the array a block of its own and leaves the borrowed one alone. The block must outlive the
    // array.
    static Array borrow(T* block, int32_t lower, int32_t upper) {
        return borrowed(block, 1, {lower, 0}, {upper, 0});
    }
    static Array borrow(T* block, int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
        return borrowed(block, 2, {lower1, lower2}, {upper1, upper2});
    }

    Array(const Array& other) { assignFrom(other); }
    Array& operator=(const Array& other) {
        if (this != &other) assignFrom(other);
        return *this;
    }
    Array(Array&& other) noexcept { swap(other); }
    Array& operator=(Array&& other) noexcept {
        swap(other);
        return *this;
    }

    void swap(Array& other) noexcept {
        std::swap(rank_, other.rank_);
        std::swap(lower_, other.lower_);
        std::swap(upper_, other.upper_);
        std::swap(count_, other.count_);
        std::swap(capacity_, other.capacity_);
        std::swap(elements_, other.elements_);
    }

    // Re-dimensions with cleared contents. An upper bound one below the lower bound gives an
    // empty dimension; anything lower is a subscript error.
    void redim(int32_t lower, int32_t upper) { reshape(1, {lower, 0}, {upper, 0}, false); }
    void redim(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
        reshape(2, {lower1, lower2}, {upper1, upper2}, false);
    }
    // Re-dimensions keeping every element whose index survives.
    void redimPreserve(int32_t lower, int32_t upper) { reshape(1, {lower, 0}, {upper, 0}, true); }
    void redimPreserve(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
        reshape(2, {lower1, lower2}, {upper1, upper2}, true);
    }
    // Re-dimensions without clearing the new block; for callers that overwrite every element
    // straight away (bulk loads of large tables).
    void redimForOverwrite(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
        reshape(2, {lower1, lower2}, {upper1, upper2}, false, false);
    }
    void redimForOverwrite(int32_t lower, int32_t upper) {
        reshape(1, {lower, 0}, {upper, 0}, false, false);
    }

    int rank() const noexcept { return rank_; }
    // Bounds of dimension d (1 or 2); another dimension is a subscript error.
    int32_t lbound(int d = 1) const {
        checkDimension(d);
        return lower_[d - 1];
    }
    int32_t ubound(int d = 1) const {
        checkDimension(d);
        return upper_[d - 1];
    }
    // Element count of dimension d.
    int64_t extent(int d = 1) const {
        checkDimension(d);
        return int64_t{upper_[d - 1]} - lower_[d - 1] + 1;
    }
    size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    T* data() noexcept { return elements_.get(); }
    const T* data() const noexcept { return elements_.get(); }

    // Checked element access: an index outside the bounds raises error 9.
    T& operator()(int32_t i) { return elements_[offsetOf(i)]; }
    const T& operator()(int32_t i) const { return elements_[offsetOf(i)]; }
    T& operator()(int32_t i, int32_t j) { return elements_[offsetOf(i, j)]; }
    const T& operator()(int32_t i, int32_t j) const { return elements_[offsetOf(i, j)]; }

    // Storage offset of an element, checked.
    size_t offsetOf(int32_t i) const {
        if (rank_ != 1 || i < lower_[0] || i > upper_[0]) raiseError(kErrSubscript);
        return static_cast<size_t>(int64_t{i} - lower_[0]);
    }
    size_t offsetOf(int32_t i, int32_t j) const {
        if (rank_ != 2 || i < lower_[0] || i > upper_[0] || j < lower_[1] || j > upper_[1])
            raiseError(kErrSubscript);
        const auto rows = static_cast<size_t>(int64_t{upper_[0]} - lower_[0] + 1);
        return static_cast<size_t>(int64_t{j} - lower_[1]) * rows +
               static_cast<size_t>(int64_t{i} - lower_[0]);
    }

    // Checked block copies: n elements starting at a storage offset, raising error 9 when the
    // run would pass the end of this array.
    void copyOut(size_t offset, size_t n, T* destination) const {
        checkRun(offset, n);
        copyElements(elements_.get() + offset, n, destination);
    }
    void copyIn(size_t offset, const T* source, size_t n) {
        checkRun(offset, n);
        copyElements(source, n, elements_.get() + offset);
    }
    void fill(const T& value) { std::fill_n(elements_.get(), count_, value); }

    void checkRun(size_t offset, size_t n) const {
        if (offset > count_ || n > count_ - offset) raiseError(kErrSubscript);
    }

private:
    struct Pair {
        int32_t first;
        int32_t second;
    };
    // Frees the block unless it was borrowed; a large block (bytes above 0) goes back to where
    // takeLargeBlock found it.
    struct BlockDeleter {
        bool owned = true;
        size_t bytes = 0;
        void operator()(T* block) const noexcept {
            if (!owned) return;
            if (bytes > 0) {
                giveBackLargeBlock(block, bytes);
            } else {
                delete[] block;
            }
        }
    };
    using Block = std::unique_ptr<T[], BlockDeleter>;

    static Array borrowed(T* block, int rank, Pair lower, Pair upper) {
        Array array;
        const int32_t lo[2] = {lower.first, lower.second};
        const int32_t hi[2] = {upper.first, upper.second};
        int64_t total = 1;
        for (int d = 0; d < rank; ++d) {
            const int64_t extent = int64_t{hi[d]} - lo[d] + 1;
            if (extent < 0) raiseError(kErrSubscript);
            total *= extent;
        }
        array.setShape(rank, lo, hi, static_cast<size_t>(total));
        array.elements_ = Block(block, BlockDeleter{false});
        return array;  // capacity_ stays 0, so no re-dimensioning reuses the borrowed block
    }

    static void copyElements(const T* from, size_t n, T* to) {
        if (n == 0) return;
        if constexpr (std::is_trivially_copyable_v<T>) {
            std::memmove(to, from, n * sizeof(T));
        } else {
            std::copy_n(from, n, to);
        }
    }

    void checkDimension(int d) const {
        if (d < 1 || d > rank_) raiseError(kErrSubscript);
    }

    void assignFrom(const Array& other) {
        Block copy = allocate(other.count_, false);
        if (other.count_ > 0) copyElements(other.elements_.get(), other.count_, copy.get());
        rank_ = other.rank_;
        lower_[0] = other.lower_[0];
        lower_[1] = other.lower_[1];
        upper_[0] = other.upper_[0];
        upper_[1] = other.upper_[1];
        count_ = other.count_;
        capacity_ = other.count_;
        elements_ = std::move(copy);
    }

    void reshape(int rank, Pair lower, Pair upper, bool preserve, bool clear = true) {
        const int32_t lo[2] = {lower.first, rank == 2 ? lower.second : 0};
        const int32_t hi[2] = {upper.first, rank == 2 ? upper.second : 0};
        int64_t extents[2] = {1, 1};
        for (int d = 0; d < rank; ++d) {
            extents[d] = int64_t{hi[d]} - lo[d] + 1;
            if (extents[d] < 0) raiseError(kErrSubscript);
        }
        const int64_t total = extents[0] * extents[1];
        if (static_cast<uint64_t>(total) > SIZE_MAX / sizeof(T)) raiseError(kErrOutOfMemory);
        if (!preserve && reusesBlock(static_cast<size_t>(total))) {
            // Same neighbourhood of size: keep the block, so repeated re-dimensioning of an
            // output array (one streamline after another) costs no allocation.
            if (clear) std::fill_n(elements_.get(), static_cast<size_t>(total), T{});
            setShape(rank, lo, hi, static_cast<size_t>(total));
            return;
        }
        Block fresh = allocate(static_cast<size_t>(total), clear || preserve);
        if (preserve && count_ > 0 && total > 0 && rank == rank_) {
            copySurvivors(fresh.get(), lo, hi, extents[0]);
        }
        elements_ = std::move(fresh);
        capacity_ = static_cast<size_t>(total);
        setShape(rank, lo, hi, static_cast<size_t>(total));
    }

    // A new block, cleared or left for the caller to overwrite. A large block of plain values
    // (numbers, flags) comes on huge pages, often from a table dropped before.
    static Block allocate(size_t n, bool clear) {
        if (n == 0) return nullptr;
        try {
            if constexpr (std::is_trivially_default_constructible_v<T> && std::is_trivially_copyable_v<T>) {
                const size_t bytes = n * sizeof(T);
                Block block = bytes >= kHugePageAdviceBytes ? largeBlock(bytes) : Block(new T[n]);
                if (clear) std::memset(static_cast<void*>(block.get()), 0, bytes);
                return block;
            } else {
                return Block(clear ? new T[n]() : new T[n]);
            }
        } catch (const std::bad_alloc&) {
            raiseError(kErrOutOfMemory);
        }
    }

    static Block largeBlock(size_t bytes) {
        void* block = takeLargeBlock(bytes);
        if (block == nullptr) raiseError(kErrOutOfMemory);
        return Block(static_cast<T*>(block), BlockDeleter{true, bytes});
    }

    // A block is kept when the new size fits it and leaves at most the new size plus 64 KiB
    // unused, so a large table re-dimensioned to a small one still gives its memory back.
    bool reusesBlock(size_t total) const {
        constexpr size_t kSlackBytes = 64 * 1024;
        return total > 0 && total <= capacity_ && (capacity_ - total) * sizeof(T) <= total * sizeof(T) + kSlackBytes;
    }

    void setShape(int rank, const int32_t lo[2], const int32_t hi[2], size_t total) {
        rank_ = rank;
        lower_[0] = lo[0];
        lower_[1] = lo[1];
        upper_[0] = hi[0];
        upper_[1] = hi[1];
        count_ = total;
    }

    // Copies the elements whose indexes exist in both the old and the new shape.
    void copySurvivors(T* fresh, const int32_t lo[2], const int32_t hi[2], int64_t newRows) {
        const int32_t firstI = std::max(lo[0], lower_[0]);
        const int32_t lastI = std::min(hi[0], upper_[0]);
        if (firstI > lastI) return;
        const auto run = static_cast<size_t>(int64_t{lastI} - firstI + 1);
        const int64_t oldRows = int64_t{upper_[0]} - lower_[0] + 1;
        int32_t firstJ = 0;
        int32_t lastJ = 0;
        if (rank_ == 2) {
            firstJ = std::max(lo[1], lower_[1]);
            lastJ = std::min(hi[1], upper_[1]);
        }
        for (int64_t j = firstJ; j <= lastJ; ++j) {
            const int64_t oldBase = (rank_ == 2 ? (j - lower_[1]) * oldRows : 0) + (firstI - lower_[0]);
            const int64_t newBase = (rank_ == 2 ? (j - lo[1]) * newRows : 0) + (firstI - lo[0]);
            copyElements(elements_.get() + oldBase, run, fresh + newBase);
        }
    }

    int rank_ = 1;
    int32_t lower_[2] = {0, 0};
    int32_t upper_[2] = {-1, 0};
    size_t count_ = 0;
    size_t capacity_ = 0;  // elements the block holds; at least count_
    Block elements_;
};

// Copies n elements from source (starting at storage offset sourceOffset) into destination
// (starting at destinationOffset); both runs are checked first.
template <class T>
void copyBlock(const Array<T>& source, size_t sourceOffset, Array<T>& destination,
               size_t destinationOffset, size_t n) {
    source.checkRun(sourceOffset, n);
    destination.copyIn(destinationOffset, source.data() + sourceOffset, n);
}

}  // namespace tkstream63
