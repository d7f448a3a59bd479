#include "scenefile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

std::wstring SystemError(const std::wstring& what, const std::string& path) {
    return what + L" \"" + FromUtf8(path) + L"\": " + FromUtf8(std::strerror(errno));
}

}  // namespace

bool ReadFileBytes(const MCHAR* path, std::vector<uint8_t>& out, std::wstring* error) {
    std::string p = ToUtf8(path ? path : L"");
    int fd = ::open(p.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (error) *error = SystemError(L"cannot open", p);
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        if (error) *error = L"\"" + FromUtf8(p) + L"\" is not a file";
        ::close(fd);
        return false;
    }
    std::vector<uint8_t> bytes;
    uint8_t buf[1 << 16];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            if (error) *error = SystemError(L"cannot read", p);
            ::close(fd);
            return false;
        }
        if (n == 0) break;
        bytes.insert(bytes.end(), buf, buf + n);
    }
    ::close(fd);
    out = std::move(bytes);
    return true;
}

bool WriteFileAtomically(const MCHAR* path, const std::vector<uint8_t>& bytes, std::wstring* error) {
    std::string p = ToUtf8(path ? path : L"");
    if (p.empty()) {
        if (error) *error = L"no file name given";
        return false;
    }
    // The temporary lives beside the target so that the rename stays on one file system.
    std::string tmp = p + ".XXXXXX";
    int fd = ::mkstemp(tmp.data());
    if (fd < 0) {
        if (error) *error = SystemError(L"cannot create a temporary file for", p);
        return false;
    }
    const uint8_t* at = bytes.data();
    size_t left = bytes.size();
    bool ok = true;
    while (left > 0) {
        ssize_t n = ::write(fd, at, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            ok = false;
            break;
        }
        at += n;
        left -= static_cast<size_t>(n);
    }
    if (ok && ::fsync(fd) != 0) ok = false;
    if (ok) ::fchmod(fd, 0644);
    if (::close(fd) != 0) ok = false;
    if (ok && ::rename(tmp.c_str(), p.c_str()) != 0) ok = false;
    if (!ok) {
        if (error) *error = SystemError(L"cannot write", p);
        ::unlink(tmp.c_str());
        return false;
    }
    return true;
}

}  // namespace host
