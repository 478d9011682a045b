#include "recordfile/record_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/errors.hpp"
#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

constexpr size_t kSmallestBuffer = 64;
constexpr int kTempNameAttempts = 100;

std::string systemText(int error) { return std::strerror(error); }

int32_t clampToLong(int64_t value) { return static_cast<int32_t>(std::min<int64_t>(value, INT32_MAX)); }

std::string directoryOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Makes a rename durable: the directory entry is synced too. Best effort; the data is safe already.
void syncDirectory(const std::string& path) {
    const int fd = ::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

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
    runTrapped("RecordFile", "Commit", [&] { ok = commitWriting(); });
    if (!ok) Abandon();
    return ok;
}

void RecordFile::Abandon() {
    if (mode_ == Mode::Writing) {
        closeDescriptor();
        ::unlink(tempPath_.c_str());
    }
    closeDescriptor();
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
    static thread_local unsigned attemptCounter = 0;
    for (int attempt = 0; attempt < kTempNameAttempts && fd_ < 0; ++attempt) {
        tempPath_ = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(++attemptCounter);
        fd_ = ::open(tempPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ < 0 && errno != EEXIST) break;
    }
    if (fd_ < 0) return fail(kRecordAccessError, "cannot create '" + tempPath_ + "': " + systemText(errno));
    struct stat target {};
    if (::stat(path.c_str(), &target) == 0) ::fchmod(fd_, target.st_mode & 07777);
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
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0)
        return fail(errno == ENOENT ? kRecordFileNotFound : kRecordAccessError,
                    "cannot open '" + path + "': " + systemText(errno));
    struct stat status {};
    if (::fstat(fd_, &status) != 0) return failSystem("examining");
    if (!S_ISREG(status.st_mode)) return fail(kRecordAccessError, "'" + path + "' is not a regular file");
    mode_ = Mode::Reading;
    fileSize_ = status.st_size;
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

bool RecordFile::commitWriting() {
    if (mode_ != Mode::Writing) {
        lastCode_ = kRecordInvalidCall;
        lastError_ = "Commit: no export is open";
        return false;
    }
    if (writeFailed_ || !codec_->finishWriting() || !flushBuffer()) return false;
    if (::fsync(fd_) != 0) return failSystem("syncing");
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) return failSystem("closing");
    if (::rename(tempPath_.c_str(), path_.c_str()) != 0)
        return fail(kRecordAccessError, "cannot put '" + tempPath_ + "' in place of '" + path_ + "': " + systemText(errno));
    syncDirectory(path_);
    mode_ = Mode::Closed;
    codec_.reset();
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

ssize_t RecordFile::writeBytes(const void* data, size_t n) { return ::write(fd_, data, n); }

ssize_t RecordFile::readBytes(void* data, size_t n) { return ::read(fd_, data, n); }

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
    if (::lseek(fd_, beyond, SEEK_CUR) < 0) return failSystem("positioning in");
    position_ += n;
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

void RecordFile::closeDescriptor() noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

void RecordFile::resetState() noexcept {
    closeDescriptor();
    codec_.reset();
    bufferUsed_ = bufferPos_ = 0;
    position_ = fileSize_ = 0;
    writeFailed_ = false;
    lastCode_ = kRecordOK;
    lastError_.clear();
    tempPath_.clear();
}

}  // namespace tkstream63
