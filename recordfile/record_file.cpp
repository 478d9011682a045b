#include "recordfile/record_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/errors.hpp"
#include "recordfile/file_platform.hpp"
#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

namespace os = file_platform;

constexpr size_t kSmallestBuffer = 64;

std::string systemText(int error) { return os::errorText(error); }

int32_t clampToLong(int64_t value) { return static_cast<int32_t>(std::min<int64_t>(value, INT32_MAX)); }

}  // namespace

RecordFile::RecordFile(size_t bufferBytes)
    : capacity_(std::max(bufferBytes, kSmallestBuffer)), buffer_(new uint8_t[capacity_]) {}

RecordFile::~RecordFile() { Abandon(); }

// ---- host side ----

bool RecordFile::OpenForWriting(const std::string& path, RecordForm form) {
    bool ok = false;
    const bool wasOpen = IsOpen();
    runTrapped("RecordFile", "OpenForWriting", [&] { ok = openWriting(path, form); });
    if (!ok && !wasOpen) Abandon();
    return ok;
}

bool RecordFile::OpenForReading(const std::string& path) {
    bool ok = false;
    const bool wasOpen = IsOpen();
    runTrapped("RecordFile", "OpenForReading", [&] { ok = openReading(path); });
    if (!ok && !wasOpen) Abandon();
    return ok;
}

bool RecordFile::Commit() {
    bool ok = false;
    runTrapped("RecordFile", "Commit", [&] {
        if (!readyToCommit()) return;
        ok = putInPlace();
        // A failure of the commit's own steps reaches the host through the error report too.
        if (!ok) raiseError(-lastCode_, lastError_);
    });
    if (!ok) Abandon();
    return ok;
}

void RecordFile::Abandon() {
    if (mode_ == Mode::Writing) {
        closeFile();
        os::removeFile(tempPath_);
    }
    closeFile();
    mode_ = Mode::Closed;
    codec_.reset();
    bufferUsed_ = bufferPos_ = 0;
}

bool RecordFile::openWriting(const std::string& path, RecordForm form) {
    if (IsOpen()) {
        lastCode_ = kRecordInvalidCall;
        lastError_ = "'" + path_ + "' is still open; commit or abandon it before opening '" + path + "'";
        return false;
    }
    resetState();
    path_ = path;
    form_ = form;
    // The temporary file lives beside the target so that the final rename stays on one file system.
    // It is private until the commit, so nobody reads a save in progress.
    if (!os::createTemporary([&] { return os::temporaryName(path); }, file_, tempPath_))
        return fail(kRecordAccessError, "cannot create '" + tempPath_ + "': " + systemText(errno));
    mode_ = Mode::Writing;
    codec_ = form == RecordForm::Binary ? makeBinaryCodec(*this) : makeFormattedCodec(*this);
    return codec_->writePreamble();
}

bool RecordFile::openReading(const std::string& path) {
    if (IsOpen()) {
        lastCode_ = kRecordInvalidCall;
        lastError_ = "'" + path_ + "' is still open; close it before opening '" + path + "'";
        return false;
    }
    resetState();
    path_ = path;
    os::FileStatus status;
    if (!os::openForReading(path, file_, status))
        return fail(errno == ENOENT ? kRecordFileNotFound : kRecordAccessError,
                    "cannot open '" + path + "': " + systemText(errno));
    if (status.kind != os::FileKind::Regular) {
        const char* what = status.kind == os::FileKind::Directory   ? "a folder"
                           : status.kind == os::FileKind::NamedPipe ? "a named pipe or socket"
                           : status.kind == os::FileKind::Device    ? "a device"
                                                                    : "a special file";
        return fail(kRecordAccessError, "'" + path + "' is " + what + ", not a regular file: only a saved file can be read");
    }
    mode_ = Mode::Reading;
    fileSize_ = status.size;
    // The first byte tells the two forms apart; the form's own check does the rest.
    const int first = peekByte();
    if (first == 0x89) {
        form_ = RecordForm::Binary;
        codec_ = makeBinaryCodec(*this);
    } else if (first == 'T') {
        form_ = RecordForm::Formatted;
        codec_ = makeFormattedCodec(*this);
    } else {
        if (lastCode_ != kRecordOK) return false;
        return fail(kRecordBadFormat, "'" + path + "' is not a tkstream63 record file");
    }
    return codec_->readPreamble();
}

bool RecordFile::readyToCommit() {
    if (mode_ != Mode::Writing) {
        lastCode_ = kRecordInvalidCall;
        lastError_ = "Commit: no export is open";
        return false;
    }
    // A failed write was reported by the export that made it; an incomplete record is a misuse.
    return !writeFailed_ && codec_->finishWriting();
}

bool RecordFile::putInPlace() {
    if (!flushBuffer()) return false;
    // The file was private while it was written; now it takes the rights it keeps.
    if (!os::setFinalMode(file_, path_))
        return fail(kRecordAccessError, "cannot give '" + tempPath_ + "' the access rights of '" + path_ +
                                            "': " + systemText(errno));
    if (!os::syncFile(file_)) return failSystem("syncing");
    const os::FileHandle file = file_;
    file_ = os::kNoFile;
    if (!os::closeFile(file)) return failSystem("closing");
    if (!os::replaceFile(tempPath_, path_))
        return fail(kRecordAccessError, "cannot put '" + tempPath_ + "' in place of '" + path_ + "': " + systemText(errno));
    // The new file is in place: from here on there is nothing to abandon.
    mode_ = Mode::Closed;
    codec_.reset();
    if (!syncFolder(path_))
        return fail(kRecordDeviceError, "'" + path_ + "' was saved and is in place, but it may not be durable: " +
                                            "syncing its folder failed: " + systemText(errno));
    return true;
}

void RecordFile::ProgressTick() {
    runTrapped("RecordFile", "ProgressTick", [&] {
        if (progress_) progress_();
    });
}

void RecordFile::GetReadState(int32_t& nBytesRead, int32_t& nBytesTotal, bool& qEOF) {
    qEOF = true;
    runTrapped("RecordFile", "GetReadState", [&] { qEOF = mode_ != Mode::Reading || codec_->atEnd(); });
    nBytesRead = clampToLong(BytesRead());
    nBytesTotal = clampToLong(TotalBytes());
}

// ---- transfer seam ----

ssize_t RecordFile::writeBytes(const void* data, size_t n) { return os::writeSome(file_, data, n); }

ssize_t RecordFile::readBytes(void* data, size_t n) { return os::readSome(file_, data, n); }

ssize_t RecordFile::readBytesAt(void* data, size_t n, int64_t offset) { return os::readAt(file_, data, n, offset); }

bool RecordFile::syncFolder(const std::string& path) { return os::syncFolderOf(path); }

// ---- internal byte I/O ----

bool RecordFile::putBytes(const void* data, size_t n) {
    if (writeFailed_) return false;
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (n >= capacity_ / 2) {
        if (!flushBuffer() || !writeAll(bytes, n)) return false;
    } else {
        if (bufferUsed_ + n > capacity_ && !flushBuffer()) return false;
        std::memcpy(buffer_.get() + bufferUsed_, bytes, n);
        bufferUsed_ += n;
    }
    position_ += static_cast<int64_t>(n);
    return true;
}

bool RecordFile::flushBuffer() {
    if (bufferUsed_ == 0) return true;
    const size_t n = bufferUsed_;
    bufferUsed_ = 0;
    return writeAll(buffer_.get(), n);
}

bool RecordFile::writeAll(const uint8_t* data, size_t n) {
    while (n > 0) {
        const ssize_t written = writeBytes(data, n);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return failSystem("writing");
        if (written == 0) return fail(kRecordDeviceError, "writing '" + path_ + "' made no progress");
        data += written;
        n -= static_cast<size_t>(written);
    }
    return true;
}

bool RecordFile::takeBytes(void* data, size_t n) {
    auto* out = static_cast<uint8_t*>(data);
    for (;;) {
        const size_t piece = std::min(n, bufferUsed_ - bufferPos_);
        if (piece > 0) std::memcpy(out, buffer_.get() + bufferPos_, piece);
        bufferPos_ += piece;
        position_ += static_cast<int64_t>(piece);
        out += piece;
        n -= piece;
        if (n == 0) return true;
        // The buffer is empty here, so large blocks can go straight to the caller's memory.
        if (n >= capacity_ / 2) {
            if (!readAll(out, n)) return false;
            position_ += static_cast<int64_t>(n);
            return true;
        }
        const ssize_t filled = refillBuffer();
        if (filled < 0) return false;
        if (filled == 0)
            return fail(kRecordPastEnd, "'" + path_ + "' ends at byte " + std::to_string(position_) +
                                            ", before the data it should hold");
    }
}

bool RecordFile::readAll(uint8_t* data, size_t n) {
    while (n > 0) {
        const ssize_t got = readBytes(data, n);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return failSystem("reading");
        if (got == 0)
            return fail(kRecordPastEnd, "'" + path_ + "' ends at byte " + std::to_string(position_) +
                                            ", before the data it should hold");
        data += got;
        n -= static_cast<size_t>(got);
    }
    return true;
}

ssize_t RecordFile::refillBuffer() {
    bufferPos_ = bufferUsed_ = 0;
    for (;;) {
        const ssize_t got = readBytes(buffer_.get(), capacity_);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            failSystem("reading");
            return -1;
        }
        bufferUsed_ = static_cast<size_t>(got);
        return got;
    }
}

bool RecordFile::skipBytes(int64_t n) {
    if (n > bytesLeft()) return fail(kRecordPastEnd, "'" + path_ + "' ends before byte " + std::to_string(position_ + n));
    const size_t inBuffer = bufferUsed_ - bufferPos_;
    if (static_cast<uint64_t>(n) <= inBuffer) {
        bufferPos_ += static_cast<size_t>(n);
        position_ += n;
        return true;
    }
    // The system's file offset stands at the end of the buffered bytes.
    const int64_t beyond = n - static_cast<int64_t>(inBuffer);
    bufferPos_ = bufferUsed_ = 0;
    if (!os::skipForward(file_, beyond)) return failSystem("positioning in");
    position_ += n;
    return true;
}

int RecordFile::readAt(void* data, size_t n, int64_t offset) {
    auto* out = static_cast<uint8_t*>(data);
    while (n > 0) {
        const ssize_t got = readBytesAt(out, n, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return errno != 0 ? errno : EIO;
        if (got == 0) return -1;
        out += got;
        offset += got;
        n -= static_cast<size_t>(got);
    }
    return 0;
}

bool RecordFile::failReadAt(int result) {
    if (result == -1)
        return fail(kRecordPastEnd, "'" + path_ + "' ends before the data it should hold (it was cut while being read)");
    errno = result;
    return failSystem("reading");
}

bool RecordFile::passOver(int64_t n) {
    bufferPos_ = bufferUsed_ = 0;
    position_ += n;
    if (!os::seekTo(file_, position_)) return failSystem("positioning in");
    return true;
}

// ---- failures ----

bool RecordFile::fail(int32_t code, std::string message) {
    lastCode_ = code;
    lastError_ = std::move(message);
    if (mode_ == Mode::Writing) writeFailed_ = true;
    return false;
}

bool RecordFile::failSystem(const char* action) {
    const int error = errno;
    const int32_t code = error == ENOSPC || error == EDQUOT ? kRecordDiskFull : kRecordDeviceError;
    return fail(code, std::string(action) + " '" + path_ + "' failed at byte " + std::to_string(position_) + ": " +
                          systemText(error));
}

void RecordFile::closeFile() noexcept {
    if (file_ != os::kNoFile) os::closeFile(file_);
    file_ = os::kNoFile;
}

void RecordFile::resetState() noexcept {
    closeFile();
    codec_.reset();
    bufferUsed_ = bufferPos_ = 0;
    position_ = fileSize_ = 0;
    writeFailed_ = false;
    lastCode_ = kRecordOK;
    lastError_.clear();
    tempPath_.clear();
}

}  // namespace tkstream63
