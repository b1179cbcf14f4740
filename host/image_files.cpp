// Image files for hosts that write where users keep their work: an output is
// encoded in memory, written to a hidden temporary file in the target's own
// folder, flushed to disk and renamed over the target, so a full disk, a
// failed encode or an interrupted run leaves either the earlier file or the
// new one, never a partial one. Inputs are checked before any work.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "qxhost.h"

namespace qxhost {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fileError(const std::string& path, const std::string& cause) {
    throw FileError(path, cause);
}

std::string causeOf(int error) {
    switch (error) {
        case ENOSPC: return "no space left on the device";
        case EDQUOT: return "disk quota exceeded";
        case EFBIG: return "the file is larger than this process may write";
        case EACCES:
        case EPERM: return "permission denied";
        case EROFS: return "the file system is read-only";
        case ENOENT: return "the folder does not exist";
        default: return std::strerror(error);
    }
}

// The temporary file being written, unlinked by the handler of an
// interrupting signal. One at a time: writes are not concurrent in a host's
// thread of files, and a batch runs its jobs as processes.
char pendingPath[4096];
std::atomic<bool> pendingSet{false};

void removePendingAndReraise(int signal) {
    if (pendingSet.load()) unlink(pendingPath);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void installCleanupOnce() {
    static const bool installed = [] {
        for (int s : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction old {};
            sigaction(s, nullptr, &old);
            if (old.sa_handler == SIG_DFL) std::signal(s, removePendingAndReraise);
        }
        return true;
    }();
    (void)installed;
}

bool writeAll(int fd, const unsigned char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// The folder of an output path, after refusing a target that is a folder or
// anything else that is not a regular file and so cannot be replaced safely.
fs::path replaceableTargetFolder(const std::string& path) {
    std::error_code ec;
    const fs::path target(path);
    if (fs::is_directory(target, ec)) fileError(path, "it is a folder");
    if (fs::exists(target, ec) && !fs::is_regular_file(target, ec))
        fileError(path, "it exists and is not a regular file (a device or a pipe), so it cannot be replaced safely");
    fs::path folder = target.parent_path();
    return folder.empty() ? fs::path(".") : folder;
}

}  // namespace

bool abandoned(const std::string& path, int pid) {
    if (pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM)) return false;
    std::error_code ec;
    const auto changed = fs::last_write_time(path, ec);
    return !ec && fs::file_time_type::clock::now() - changed > std::chrono::minutes(10);
}

FileError::FileError(const std::string& file, const std::string& why)
    : std::runtime_error("cannot write '" + file + "': " + why), path(file), cause(why) {}

FileError::FileError(const std::string& file, const std::string& why, bool /*reading*/)
    : std::runtime_error("cannot read '" + file + "': " + why), path(file), cause(why) {}

void writeFileAtomically(const std::string& path, const std::vector<unsigned char>& bytes) {
    const fs::path target(path);
    const fs::path folder = replaceableTargetFolder(path);
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) fileError(path, "the folder '" + folder.string() + "' does not exist");

    installCleanupOnce();
    // The writer's process id in the name tells a later run whether the
    // file is a leftover of a killed writer (removeLeftovers).
    std::string temp =
        (folder / ("." + target.filename().string() + "." + std::to_string(getpid()) + ".XXXXXX")).string();
    if (temp.size() >= sizeof pendingPath) fileError(path, "the path is too long");
    const int fd = mkstemp(temp.data());
    if (fd < 0) fileError(path, causeOf(errno));
    std::memcpy(pendingPath, temp.c_str(), temp.size() + 1);
    pendingSet = true;
    auto giveUp = [&](int error) {
        ::close(fd);
        unlink(temp.c_str());
        pendingSet = false;
        fileError(path, causeOf(error));
    };
    // The permissions a plain new file would get (mkstemp makes it 0600).
    const mode_t mask = umask(0);
    umask(mask);
    if (fchmod(fd, 0666 & ~mask) != 0) giveUp(errno);
    if (!writeAll(fd, bytes.data(), bytes.size())) giveUp(errno);
    if (fsync(fd) != 0) giveUp(errno);
    if (::close(fd) != 0) {
        const int error = errno;
        unlink(temp.c_str());
        pendingSet = false;
        fileError(path, causeOf(error));
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temp.c_str());
        pendingSet = false;
        fileError(path, causeOf(error));
    }
    pendingSet = false;
}

bool keepsAlpha(const std::string& path) {
    std::string ext = fs::path(path).extension().string();
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext == ".png" || ext == ".tif" || ext == ".tiff" || ext == ".webp";
}

void checkOutputFile(const std::string& path) {
    const std::string ext = fs::path(path).extension().string();
    if (ext.empty()) fileError(path, "the name has no extension to choose an image format by (e.g. .png)");
    if (!haveImageWriter(path)) fileError(path, "unknown image extension '" + ext + "' (use .png, .tif, .jpg, ...)");
    const fs::path folder = replaceableTargetFolder(path);
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0) {
        const int error = errno;
        fileError(path, error == ENOENT ? "the folder '" + folder.string() + "' does not exist"
                        : error == ELOOP ? "the folder '" + folder.string() + "' is a loop of symbolic links"
                                         : "the folder '" + folder.string() + "': " + causeOf(error));
    }
    if (!S_ISDIR(info.st_mode)) fileError(path, "'" + folder.string() + "' is not a folder");
    // The new file is made next to the target and renamed over it: the
    // folder must take new files. Tried, as permissions alone say nothing of
    // a read-only file system, and nothing to a process run as root.
    std::string probe = (folder / (".write-check." + std::to_string(getpid()) + ".XXXXXX")).string();
    const int fd = mkstemp(probe.data());
    if (fd < 0) fileError(path, "the folder '" + folder.string() + "' takes no new files (" + causeOf(errno) + ")");
    ::close(fd);
    unlink(probe.c_str());
}

int removeLeftovers(const std::string& folder) {
    std::error_code ec;
    int removed = 0;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        // ".NAME.PID.XXXXXX": a temporary file of writeFileAtomically.
        if (name.size() < 12 || name[0] != '.' || name[name.size() - 7] != '.') continue;
        const std::string suffix = name.substr(name.size() - 6);
        if (!std::all_of(suffix.begin(), suffix.end(), [](unsigned char c) { return std::isalnum(c); })) continue;
        const std::string head = name.substr(0, name.size() - 7);
        const std::size_t dot = head.rfind('.');
        if (dot == std::string::npos || dot < 2 || dot + 1 == head.size()) continue;
        const std::string pid = head.substr(dot + 1);
        if (!std::all_of(pid.begin(), pid.end(), [](unsigned char c) { return std::isdigit(c); }) || pid.size() > 9)
            continue;
        if (!it->is_regular_file(ec) || !abandoned(it->path().string(), std::stoi(pid))) continue;
        removed += fs::remove(it->path(), ec) ? 1 : 0;
    }
    return removed;
}

void writeImageFile(const std::string& path, const cv::Mat& image) {
    checkOutputFile(path);
    const std::string ext = fs::path(path).extension().string();
    if (image.channels() == 4 && !keepsAlpha(path))
        fileError(path, "a " + ext + " file keeps no transparency; name the cut-out .png, .tif or .webp");
    std::vector<unsigned char> bytes;
    std::string cause;
    if (!encodeImage(ext, image, bytes, &cause))
        fileError(path, "the image could not be encoded as " + ext + (cause.empty() ? "" : " (" + cause + ")"));
    writeFileAtomically(path, bytes);
}

}  // namespace qxhost
