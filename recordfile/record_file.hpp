// RecordFile: the host's open record file, handed to every BINARYEXPORT and BINARYIMPORT.
//
// Writing is atomic: records go to a temporary file beside the target, and only Commit() puts it
// in the target's place (fsync, then rename). An export that fails, is abandoned or whose file
// object is destroyed without Commit() leaves the previous target untouched and removes the
// temporary file. Reading reports progress through ProgressTick() and GetReadState().
//
// The file holds either the binary form or the formatted (text) form of the records; both carry
// the same records and read back to the same values. docs/record-format.md describes them.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tkstream63 {

class RecordCodec;

// Result codes of the record layer. Failures are negative: the negated classic run-time error
// number, so an importer can raise the matching error with the file's LastError() text.
enum RecordStatus : int32_t {
    kRecordOK = 0,
    kRecordInvalidCall = -5,      // misuse: wrong mode, wrong type, count mismatch, bad argument
    kRecordOutOfMemory = -7,
    kRecordSubscript = -9,        // an array run outside the caller's array
    kRecordTypeMismatch = -13,    // the operation does not fit the record's item type
    kRecordFileNotFound = -53,
    kRecordDeviceError = -57,     // the system refused a read or write
    kRecordDiskFull = -61,
    kRecordPastEnd = -62,         // no further record, or the file ends inside one
    kRecordAccessError = -75,     // the file could not be created, opened or put in place
    kRecordBadFormat = -321,      // not a record file, unknown version, damage, checksum mismatch
};

enum class RecordForm { Binary, Formatted };

class RecordFile {
public:
    static constexpr size_t kDefaultBufferBytes = size_t{256} * 1024;

    // bufferBytes sizes the buffer for small items; large array bodies bypass it.
    explicit RecordFile(size_t bufferBytes = kDefaultBufferBytes);
    // An export that was not committed is abandoned.
    virtual ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    // ---- host side ----

    // Starts an export to path. Nothing touches path itself until Commit(). The records go to a
    // new temporary file beside path that only its owner can read, under an unpredictable name.
    bool OpenForWriting(const std::string& path, RecordForm form = RecordForm::Binary);
    // Opens path for import; the form is recognised from the file's first bytes. A file that is
    // not a record file of a version this library reads is refused at once, and so is anything
    // but a regular file (a named pipe, a device, a folder), without waiting on it.
    bool OpenForReading(const std::string& path);
    // Finishes an export: flushes, gives the file its final access rights (those of the file it
    // replaces, else a new file's usual ones), syncs it and renames it over the target, then syncs
    // the folder so that the rename survives a crash. Refused (and the export abandoned) when any
    // write failed or the last record is incomplete. A failure of these steps also goes to the
    // error report. When only the folder sync fails, the new file is already in place (the
    // previous one is gone) but Commit() returns false: LastError() says the save "may not be
    // durable" (kRecordDeviceError). The file is closed afterwards either way.
    bool Commit();
    // Drops an export (the temporary file is removed) or closes an import.
    void Abandon();
    void Close() { Abandon(); }

    bool IsOpen() const noexcept { return mode_ != Mode::Closed; }
    bool IsWriting() const noexcept { return mode_ == Mode::Writing; }
    bool IsReading() const noexcept { return mode_ == Mode::Reading; }
    RecordForm Form() const noexcept { return form_; }
    const std::string& Path() const noexcept { return path_; }
    // Text and code of the most recent failure ("" and kRecordOK when nothing failed since the
    // file was opened). Messages name the file, the record keyword and the byte offset.
    const std::string& LastError() const noexcept { return lastError_; }
    int32_t LastErrorCode() const noexcept { return lastCode_; }

    // Called by ProgressTick().
    void SetProgressCallback(std::function<void()> callback) { progress_ = std::move(callback); }
    int64_t BytesRead() const noexcept { return mode_ == Mode::Reading ? position_ : 0; }
    int64_t TotalBytes() const noexcept { return mode_ == Mode::Reading ? fileSize_ : 0; }

    // ---- operations the importers call ----

    // Importers call this after every tenth record; it calls the host's progress callback.
    void ProgressTick();
    // Bytes consumed so far and the file size (both capped at the largest Long; BytesRead() and
    // TotalBytes() give the full values), and whether the end was reached: no further record can
    // start, or a record header could not be read (so a reading loop always stops).
    void GetReadState(int32_t& nBytesRead, int32_t& nBytesTotal, bool& qEOF);

protected:
    // The one seam every byte passes through; a test derives from RecordFile to make a chosen call
    // fail. Both return the bytes moved (0 from readBytes at the end of the file), or -1 with errno
    // set. The system calls themselves live in recordfile/file_platform.hpp.
    virtual ssize_t writeBytes(const void* data, size_t n);
    virtual ssize_t readBytes(void* data, size_t n);
    // The same from a given offset of the file; called from several threads at once.
    virtual ssize_t readBytesAt(void* data, size_t n, int64_t offset);
    // The commit's last step, which makes the rename durable; false with errno set.
    virtual bool syncFolder(const std::string& path);

public:
    // ==== internal: used by RecordIO and the record encodings, not by hosts ====

    RecordCodec* codec() noexcept { return codec_.get(); }

    // Buffered output; large blocks go straight to the file. False once any write failed.
    bool putBytes(const void* data, size_t n);
    // Exactly n bytes of input (straight into data when the block is large). Running out of file
    // is a failure.
    bool takeBytes(void* data, size_t n);
    // Passes over n bytes of input without reading them where the file allows.
    bool skipBytes(int64_t n);
    // Exactly n bytes from the given offset, past the buffer and the read position; safe from
    // several threads at once, and it records nothing: 0 when done, else the errno of the
    // failure (-1: the file ends first), for failReadAt to report from one thread.
    int readAt(void* data, size_t n, int64_t offset);
    bool failReadAt(int result);
    // Moves the read position on over n bytes that were read with readAt.
    bool passOver(int64_t n);
    // Next input byte without consuming it, -1 at the end of the file or on a read failure.
    int peekByte() {
        if (bufferPos_ < bufferUsed_) return buffer_[bufferPos_];
        return refillBuffer() > 0 ? buffer_[bufferPos_] : -1;
    }
    void dropByte() {
        ++bufferPos_;
        ++position_;
    }

    // Offset of the next byte to be written or read.
    int64_t position() const noexcept { return position_; }
    int64_t bytesLeft() const noexcept { return fileSize_ - position_; }
    int64_t fileSize() const noexcept { return fileSize_; }
    // True once a write failed: the export can no longer be committed.
    bool writeFailed() const noexcept { return writeFailed_; }

    // Records a failure (always returns false so callers can return it). A failure while writing
    // spoils the export for good.
    bool fail(int32_t code, std::string message);
    // Failure of the system call behind a transfer, classified from errno.
    bool failSystem(const char* action);

private:
    enum class Mode { Closed, Writing, Reading };

    bool openWriting(const std::string& path, RecordForm form);
    bool openReading(const std::string& path);
    bool readyToCommit();
    bool putInPlace();
    bool flushBuffer();
    bool writeAll(const uint8_t* data, size_t n);
    bool readAll(uint8_t* data, size_t n);
    // Bytes now buffered: 0 at the end of the file, -1 on a read failure.
    ssize_t refillBuffer();
    void closeFile() noexcept;
    void resetState() noexcept;

    const size_t capacity_;
    std::unique_ptr<uint8_t[]> buffer_;
    size_t bufferUsed_ = 0;  // writing: bytes waiting; reading: bytes held
    size_t bufferPos_ = 0;   // reading: next byte in the buffer
    intptr_t file_ = -1;  // a file_platform::FileHandle
    Mode mode_ = Mode::Closed;
    RecordForm form_ = RecordForm::Binary;
    std::string path_;
    std::string tempPath_;
    int64_t position_ = 0;
    int64_t fileSize_ = 0;
    bool writeFailed_ = false;
    int32_t lastCode_ = kRecordOK;
    std::string lastError_;
    std::function<void()> progress_;
    std::unique_ptr<RecordCodec> codec_;
};

}  // namespace tkstream63
