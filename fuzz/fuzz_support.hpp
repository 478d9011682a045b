// What every fuzz target shares: the input as an in-memory file opened by path like any other,
// a quiet host (no dialog waits, no error report piles up), the memory check of a load, and the
// re-sealing that lets a mutated file pass its checksums and reach the decoders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tkstream63::fuzz {

// The path of an anonymous in-memory file that now holds exactly these bytes (one file for the
// whole process, rewritten for every input); "" if it cannot be made.
std::string inMemoryFile(const uint8_t* data, size_t size);

// A folder in memory-backed storage for files the write path saves (made once per process).
std::string scratchFolder();

// Installs a dialog that answers every question with "cancel", so nothing waits on a console.
void quietHost();

// Clears the error report after an input, so messages do not pile up between inputs.
void forgetErrors();

// Traps when the heap grows during a load by more than the load's budget for a file of this
// size (6 x size + 48 MiB, and 1 MiB for what the budget does not charge). Counting needs the sanitizer allocator's hooks: in builds without
// them the check is a no-op.
class LoadMemoryCheck {
public:
    explicit LoadMemoryCheck(size_t fileBytes);
    ~LoadMemoryCheck();
    LoadMemoryCheck(const LoadMemoryCheck&) = delete;
    LoadMemoryCheck& operator=(const LoadMemoryCheck&) = delete;

private:
    size_t budget_;
};

// Makes a mutated binary record file whole again in place (record numbers, CRCs, trailer) and
// returns its new size, at most maxSize; an input that is not a binary record file of the
// current version, or whose sealed form would not fit, is returned unchanged.
size_t resealBinary(uint8_t* data, size_t size, size_t maxSize);

// The same for the formatted form: replaces the trailer line with one that counts the header
// lines and gives the length and CRC-32C of the text before it.
size_t resealFormatted(uint8_t* data, size_t size, size_t maxSize);

}  // namespace tkstream63::fuzz
