// qxmatte batch SUBCOMMAND (MANIFEST.csv | IMAGES_DIR MARKS_DIR) --out DIR
//   [--jobs N] [--force] [--shard I/N] [subcommand options]
// Runs one subcommand over many images. Each job is this tool run as a child
// process, so a bad image (or a crash) costs that job only; outputs that exist
// are skipped unless --force, so a stopped batch resumes where it was; every
// failure is recorded with its cause and the batch goes on.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "cli.h"

namespace qxcli {

namespace {

namespace fs = std::filesystem;

// Subcommands a batch can run: inputs are an image and marks (a trimap, or
// an alpha for foreground), the output goes to --out.
const std::set<std::string> kBatchable = {"matte", "cutout", "foreground"};
// Options that name files of their own; in a batch every output goes to --out.
const std::set<std::string> kFileOptions = {"-o", "--output", "--preview", "--foreground", "--cutout", "--alpha"};
// A cut-out edit re-solves one rectangle of one earlier cut-out.
const std::set<std::string> kSingleImageOptions = {"--edit", "--previous", "--only", "--border"};
// Options of the subcommands that take no value.
const std::set<std::string> kFlags = {"--cell", "--half", "--no-colours"};

struct Job {
    std::string image, marks, output;  // output: a path under --out
    std::string problem;               // set when the job cannot even start
};

struct Settings {
    std::string subcommand, manifest, imagesDir, marksDir, outDir;
    int jobs = 1, shardIndex = 0, shardCount = 1;
    bool force = false, quiet = false;
    std::vector<std::string> passThrough;
};

[[noreturn]] void usage(const std::string& message) { throw Failure{kExitUsage, "batch: " + message}; }

int parseCount(const std::string& text, const char* what) {
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || v < 0 || v > 1000000) usage(std::string(what) + " '" + text + "' is not a count");
    return static_cast<int>(v);
}

Settings parseSettings(const std::vector<std::string>& args, bool quiet) {
    Settings s;
    s.quiet = quiet;
    std::vector<std::string> positional;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&]() -> const std::string& {
            if (i + 1 >= args.size()) usage(a + " needs a value");
            return args[++i];
        };
        if (a == "--out") {
            s.outDir = value();
        } else if (a == "--jobs") {
            s.jobs = parseCount(value(), "--jobs");
            if (s.jobs < 1) usage("--jobs must be at least 1");
        } else if (a == "--force") {
            s.force = true;
        } else if (a == "-q" || a == "--quiet") {
            s.quiet = true;
        } else if (a == "--shard") {
            const std::string& v = value();
            const std::size_t slash = v.find('/');
            if (slash == std::string::npos) usage("--shard takes I/N, e.g. 0/4 (I counts from 0)");
            s.shardIndex = parseCount(v.substr(0, slash), "the shard index");
            s.shardCount = parseCount(v.substr(slash + 1), "the shard count");
            if (s.shardCount < 1 || s.shardIndex >= s.shardCount)
                usage("--shard " + v + ": I must be below N (I counts from 0)");
        } else if (!a.empty() && a[0] == '-') {
            const std::string name = a.substr(0, a.find('='));  // --option=value too
            if (kFileOptions.count(name)) usage(name + " names a file; in a batch every output goes to --out");
            if (kSingleImageOptions.count(name))
                usage(name + " belongs to an edit of one cut-out: run qxmatte cutout --edit on that image alone");
            s.passThrough.push_back(a);
            // The option's value, if it has one, travels with it.
            if (i + 1 < args.size() && (args[i + 1].empty() || args[i + 1][0] != '-') && a.find('=') == std::string::npos &&
                !kFlags.count(a))
                s.passThrough.push_back(args[++i]);
        } else {
            positional.push_back(a);
        }
    }
    if (positional.empty()) usage("name the subcommand to run: matte, cutout or foreground");
    s.subcommand = positional[0];
    if (!kBatchable.count(s.subcommand)) usage("'" + s.subcommand + "' cannot run in a batch (matte, cutout or foreground)");
    if (positional.size() == 2) s.manifest = positional[1];
    else if (positional.size() == 3) s.imagesDir = positional[1], s.marksDir = positional[2];
    else usage("give a manifest (.csv) or two folders, images and marks");
    if (s.outDir.empty()) usage("--out DIR is required");
    return s;
}

std::vector<std::string> splitCsvLine(const std::string& line) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted) {
            if (c == '"' && i + 1 < line.size() && line[i + 1] == '"') fields.back() += '"', ++i;
            else if (c == '"') quoted = false;
            else fields.back() += c;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            fields.emplace_back();
        } else if (c != '\r') {
            fields.back() += c;
        }
    }
    for (std::string& f : fields) {
        const auto b = f.find_first_not_of(" \t"), e = f.find_last_not_of(" \t");
        f = b == std::string::npos ? "" : f.substr(b, e - b + 1);
    }
    return fields;
}

// Manifest rows: image,marks,output (output relative to --out); paths relative
// to the manifest's folder; a header row, blank lines and # comments skipped.
std::vector<Job> readManifest(const Settings& s) {
    if (fs::is_directory(s.manifest))
        usage("'" + s.manifest + "' is a folder: name the marks folder after it, or give a manifest (.csv)");
    std::ifstream in(s.manifest);
    if (!in) throw Failure{kExitFile, "batch: cannot open the manifest '" + s.manifest + "'"};
    const fs::path base = fs::path(s.manifest).parent_path();
    std::vector<Job> jobs;
    std::map<std::string, int> outputLines;  // normalised output, its line
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.find_first_not_of(" \t\r") == std::string::npos || line[line.find_first_not_of(" \t")] == '#') continue;
        const std::vector<std::string> f = splitCsvLine(line);
        if (number == 1 && !f.empty() && (f[0] == "image" || f[0] == "IMAGE")) continue;
        if (f.size() != 3 || f[0].empty() || f[1].empty() || f[2].empty())
            throw Failure{kExitFile, "batch: '" + s.manifest + "' line " + std::to_string(number) +
                                         ": expected three fields image,marks,output"};
        const fs::path out(f[2]);
        if (out.is_absolute() || out.lexically_normal().string().rfind("..", 0) == 0)
            throw Failure{kExitFile, "batch: '" + s.manifest + "' line " + std::to_string(number) +
                                         ": the output must be a name inside --out"};
        const auto earlier = outputLines.emplace(out.lexically_normal().string(), number);
        if (!earlier.second)
            usage("'" + s.manifest + "' lines " + std::to_string(earlier.first->second) + " and " +
                  std::to_string(number) + " both write '" + f[2] + "': one would replace the other");
        jobs.push_back({(base / f[0]).string(), (base / f[1]).string(), (fs::path(s.outDir) / out).string(), ""});
    }
    return jobs;
}

bool isImageName(const fs::path& p) {
    static const std::set<std::string> exts = {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".bmp", ".ppm", ".pgm",
                                               ".pnm", ".webp"};
    std::string e = p.extension().string();
    std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return std::tolower(c); });
    return exts.count(e) > 0;
}

// Images matched with marks of the same file name less its extension.
std::vector<Job> matchFolders(const Settings& s) {
    for (const std::string& d : {s.imagesDir, s.marksDir})
        if (!fs::is_directory(d)) throw Failure{kExitFile, "batch: '" + d + "' is not a folder"};
    std::map<std::string, std::string> marks;
    for (const auto& e : fs::directory_iterator(s.marksDir))
        if (e.is_regular_file() && isImageName(e.path())) marks[e.path().stem().string()] = e.path().string();
    std::vector<Job> jobs;
    for (const auto& e : fs::directory_iterator(s.imagesDir)) {
        if (!e.is_regular_file() || !isImageName(e.path())) continue;
        const std::string stem = e.path().stem().string();
        Job job{e.path().string(), "", (fs::path(s.outDir) / (stem + ".png")).string(), ""};
        const auto m = marks.find(stem);
        if (m == marks.end()) job.problem = "no marks file named " + stem + ".* in '" + s.marksDir + "'";
        else job.marks = m->second;
        jobs.push_back(job);
    }
    return jobs;
}

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    if (fs::exists(a, ec) && fs::exists(b, ec)) return fs::equivalent(a, b, ec);
    return fs::weakly_canonical(fs::absolute(a), ec) == fs::weakly_canonical(fs::absolute(b), ec);
}

// Mistakes that would make the whole batch useless or harmful, refused before
// any job runs: no job at all, outputs that would replace the inputs.
void checkJobs(const Settings& s, const std::vector<Job>& all) {
    if (all.empty())
        usage(s.manifest.empty() ? "no job: '" + s.imagesDir + "' holds no image files"
                                 : "no job: the manifest '" + s.manifest + "' lists none");
    if (std::all_of(all.begin(), all.end(), [](const Job& j) { return !j.problem.empty(); }))
        usage("no job: no image in '" + s.imagesDir + "' has a marks file of the same name in '" + s.marksDir + "'");
    for (const std::string& folder : {s.imagesDir, s.marksDir})
        if (!folder.empty() && sameFile(s.outDir, folder))
            usage("--out '" + s.outDir + "' is the input folder '" + folder +
                  "': the outputs would replace the inputs; choose another folder");
    for (const Job& j : all)
        for (const std::string& in : {j.image, j.marks})
            if (!in.empty() && sameFile(j.output, in))
                usage("the output '" + j.output + "' is the input '" + in + "'; choose another name or folder");
}

// Log files ".batch-PID-N.log" of batches that no longer run (killed), and
// temporary files of killed writers, in the output folder.
void removeLeftovers(const std::string& folder) {
    qxhost::removeLeftovers(folder);
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        int pid = 0, job = 0, used = 0;
        if (std::sscanf(name.c_str(), ".batch-%d-%d.log%n", &pid, &job, &used) == 2 &&
            used == static_cast<int>(name.size()) && qxhost::abandoned(it->path().string(), pid))
            fs::remove(it->path(), ec);
    }
}

volatile std::sig_atomic_t interrupted = 0;
extern "C" void onInterrupt(int signal) { interrupted = signal; }

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    for (int s : {SIGINT, SIGTERM, SIGHUP}) sigaction(s, &action, nullptr);
}

struct Running {
    pid_t pid;
    std::size_t job;
    std::string log;
    // The furthest the bar showed it: a job's later stage (colours after the
    // solve) starts again at 0%, and only a finished job counts whole.
    double shown = 0;
};

// How far a running job is, 0 to 1, from the last percentage its bar wrote
// into its log.
double jobFraction(const std::string& log) {
    std::ifstream in(log, std::ios::binary | std::ios::ate);
    const std::streamoff size = in.tellg();
    if (!in || size <= 0) return 0;
    const std::streamoff from = std::max<std::streamoff>(0, size - 64);
    in.seekg(from);
    std::string tail(static_cast<std::size_t>(size - from), '\0');
    in.read(tail.data(), static_cast<std::streamsize>(tail.size()));
    const std::size_t percent = tail.rfind('%');
    if (percent == std::string::npos || percent < 3) return 0;
    const int value = std::atoi(tail.substr(percent - 3, 3).c_str());
    return std::min(100, std::max(0, value)) / 100.0;
}

// Starts this tool on one job; its stderr goes to a log file read afterwards.
Running start(const Settings& s, const std::vector<Job>& jobs, std::size_t index) {
    const Job& job = jobs[index];
    std::string log = (fs::path(s.outDir) / (".batch-" + std::to_string(getpid()) + "-" + std::to_string(index) + ".log")).string();
    std::vector<std::string> args = {"qxmatte", s.subcommand, job.image, job.marks, "-o", job.output};
    args.insert(args.end(), s.passThrough.begin(), s.passThrough.end());
    const pid_t pid = fork();
    if (pid < 0) throw Failure{kExitFile, "batch: cannot start a job (fork failed)"};
    if (pid == 0) {
        const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd >= 0) dup2(fd, STDERR_FILENO);
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) dup2(null, STDOUT_FILENO);
        // The job draws its progress into its log, where the batch reads it.
        setenv("QXMATTE_BATCH_JOB", "1", 1);
        for (int sig : {SIGINT, SIGTERM, SIGHUP}) std::signal(sig, SIG_DFL);
        // The cores are shared between the jobs unless the user decided.
        if (!std::getenv("OMP_NUM_THREADS")) {
            const long cores = sysconf(_SC_NPROCESSORS_ONLN);
            setenv("OMP_NUM_THREADS", std::to_string(std::max(1L, cores / s.jobs)).c_str(), 1);
        }
        std::vector<char*> argv;
        argv.reserve(args.size() + 1);
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        execv("/proc/self/exe", argv.data());
        std::fprintf(stderr, "qxmatte: cannot run itself for the job\n");
        _exit(127);
    }
    return {pid, index, log, 0};
}

std::string cause(int status, const std::string& log) {
    std::ifstream in(log);
    std::string text, line;
    while (std::getline(in, line))
        if (!line.empty() && line[0] != '\r') text = line;  // the last message
    if (text.rfind("qxmatte: ", 0) == 0) text = text.substr(9);
    if (WIFSIGNALED(status))
        return "crashed (signal " + std::to_string(WTERMSIG(status)) + ")" + (text.empty() ? "" : ": " + text);
    return text.empty() ? "failed with exit code " + std::to_string(WEXITSTATUS(status)) : text;
}

// The notes a finished job wrote into its log (a reduced working scale, say),
// passed on under the job's name, as a single run prints them (-q or not):
// the log itself is removed.
void passOnNotes(const std::string& log, const std::string& image) {
    std::ifstream in(log);
    std::string line;
    const std::string tag = "qxmatte: note: ";
    while (std::getline(in, line)) {
        const std::size_t at = line.find(tag);  // after a bar's carriage return
        if (at == std::string::npos) continue;
        // On a terminal the note replaces the bar's line; the bar comes back below.
        std::fprintf(stderr, "%sqxmatte: batch: %s: note: %s\n", isatty(STDERR_FILENO) ? "\r\x1b[K" : "", image.c_str(),
                     line.c_str() + at + tag.size());
    }
}

// finished: whole jobs; running: the fractions of those under way.
void drawBar(const Settings& s, std::size_t finished, double running, std::size_t total, std::size_t failed) {
    if (s.quiet || !isatty(STDERR_FILENO)) return;
    const int width = 30;
    const int filled = total ? std::min(width, static_cast<int>(width * (finished + running) / total)) : width;
    std::fprintf(stderr, "\rbatch %-10s [%.*s%*s] %zu/%zu%s", s.subcommand.c_str(), filled,
                 "##############################", width - filled, "", finished, total,
                 failed ? (", " + std::to_string(failed) + " failed").c_str() : "");
    std::fflush(stderr);
}

}  // namespace

// The options passed on must suit the subcommand: read by its own parser on a
// stand-in job before any job runs, so a mistake is said once, not per job.
void checkPassedOn(const Settings& s, CLI::App& app) {
    std::vector<std::string> probe = {s.subcommand, "image.png", "marks.png", "-o", "out.png"};
    probe.insert(probe.end(), s.passThrough.begin(), s.passThrough.end());
    std::reverse(probe.begin(), probe.end());  // the order CLI11 takes them in
    try {
        app.parse(probe);
    } catch (const CLI::ParseError& e) {
        usage(s.subcommand + ": " + e.what());
    }
}

int runBatch(const std::vector<std::string>& args, Context& context, CLI::App& app) {
    const Settings s = parseSettings(args, !context.bar.enabled);
    checkPassedOn(s, app);
    std::vector<Job> all = s.manifest.empty() ? matchFolders(s) : readManifest(s);
    checkJobs(s, all);
    std::sort(all.begin(), all.end(), [](const Job& a, const Job& b) { return a.output < b.output; });
    std::vector<Job> jobs;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (static_cast<int>(i % s.shardCount) == s.shardIndex) jobs.push_back(all[i]);
    std::error_code ec;
    fs::create_directories(s.outDir, ec);
    if (!fs::is_directory(s.outDir)) throw Failure{kExitFile, "batch: cannot make the output folder '" + s.outDir + "'"};
    try {
        qxhost::checkOutputFile((fs::path(s.outDir) / "batch-check.png").string());
    } catch (const qxhost::FileError& e) {
        throw Failure{kExitFile, "batch: the output folder '" + s.outDir + "' cannot be written: " + e.cause};
    }
    removeLeftovers(s.outDir);
    catchInterrupts();

    const auto begin = std::chrono::steady_clock::now();
    std::size_t done = 0, skipped = 0, finished = 0;
    std::vector<std::pair<std::string, std::string>> failures;  // job, cause
    std::vector<std::size_t> waiting;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (!jobs[i].problem.empty()) {
            failures.push_back({jobs[i].image, jobs[i].problem});
            ++finished;
        } else if (!s.force && fs::exists(jobs[i].output)) {
            ++skipped;
            ++finished;
        } else {
            waiting.push_back(i);
        }
    }
    std::vector<Running> running;
    std::size_t next = 0;
    drawBar(s, finished, 0, jobs.size(), failures.size());
    while ((next < waiting.size() || !running.empty()) && !interrupted) {
        while (next < waiting.size() && static_cast<int>(running.size()) < s.jobs && !interrupted)
            running.push_back(start(s, jobs, waiting[next++]));
        int status = 0;
        const pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid < 0 && errno != EINTR) break;
        if (pid <= 0) {
            // Nothing ended: show how far the running jobs are, and look again.
            double fractions = 0;
            for (Running& r : running) fractions += r.shown = std::max(r.shown, 0.95 * jobFraction(r.log));
            drawBar(s, finished, fractions, jobs.size(), failures.size());
            const timespec pause{0, 200000000};
            nanosleep(&pause, nullptr);
            continue;
        }
        const auto r = std::find_if(running.begin(), running.end(), [pid](const Running& x) { return x.pid == pid; });
        if (r == running.end()) continue;
        const Job& job = jobs[r->job];
        if (WIFEXITED(status) && WEXITSTATUS(status) == kExitOk) {
            ++done;
            passOnNotes(r->log, job.image);
        } else failures.push_back({job.image, cause(status, r->log)});
        fs::remove(r->log, ec);
        running.erase(r);
        ++finished;
        drawBar(s, finished, 0, jobs.size(), failures.size());
    }
    if (interrupted) {
        // The jobs under way stop too (a terminal's Ctrl-C reaches them
        // already); each removes its own temporary file, the batch their logs.
        for (const Running& r : running) kill(r.pid, SIGTERM);
        for (const Running& r : running) {
            int status = 0;
            while (waitpid(r.pid, &status, 0) < 0 && errno == EINTR) {
            }
            fs::remove(r.log, ec);
        }
    }
    if (!s.quiet && isatty(STDERR_FILENO)) std::fputc('\n', stderr);

    // Failures: on stderr, and in a file under --out (one per shard).
    const std::string shardTag = s.shardCount > 1 ? "-" + std::to_string(s.shardIndex) + "-of-" + std::to_string(s.shardCount) : "";
    const std::string failureFile = (fs::path(s.outDir) / ("batch-failures" + shardTag + ".csv")).string();
    if (failures.empty()) {
        fs::remove(failureFile, ec);
    } else {
        std::string csv = "image,cause\n";
        for (const auto& f : failures) {
            std::fprintf(stderr, "qxmatte: batch: %s: %s\n", f.first.c_str(), f.second.c_str());
            std::string quotedCause = f.second;
            for (std::size_t p = 0; (p = quotedCause.find('"', p)) != std::string::npos; p += 2) quotedCause.insert(p, "\"");
            csv += "\"" + f.first + "\",\"" + quotedCause + "\"\n";
        }
        try {
            qxhost::writeFileAtomically(failureFile, std::vector<unsigned char>(csv.begin(), csv.end()));
        } catch (const qxhost::FileError& e) {
            std::fprintf(stderr, "qxmatte: batch: %s\n", e.what());  // the summary still follows
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    std::printf("batch %s: %zu jobs", s.subcommand.c_str(), jobs.size());
    if (s.shardCount > 1) std::printf(" (shard %d/%d of %zu)", s.shardIndex, s.shardCount, all.size());
    std::printf("\n  %-8s %6zu\n  %-8s %6zu\n  %-8s %6zu\n  %-8s %8.1f s\n", "done", done, "skipped", skipped, "failed",
                failures.size(), "time", seconds);
    if (!failures.empty()) std::printf("  failures listed in %s\n", failureFile.c_str());
    if (interrupted) {
        std::printf("  interrupted: %zu jobs not finished; the same command resumes the batch\n",
                    jobs.size() - finished);
        std::fflush(stdout);
        std::fprintf(stderr, "qxmatte: batch: interrupted\n");
        return 128 + interrupted;
    }
    return failures.empty() ? kExitOk : kExitBatchFailures;
}

const char* batchHelp() {
    return "Run matte, cutout or foreground over many images\n"
           "Usage: qxmatte batch SUBCOMMAND (MANIFEST.csv | IMAGES_DIR MARKS_DIR) --out DIR\n"
           "         [--jobs N] [--force] [--shard I/N] [subcommand options]\n"
           "A manifest has one row per job: image,marks,output (paths relative to the\n"
           "manifest's folder, output a name inside --out; a header row is allowed).\n"
           "Two folders pair each image with the marks file of the same name (any image\n"
           "extension); outputs are NAME.png in --out.\n"
           "  --jobs N      run N images at once (default 1)\n"
           "  --force       redo jobs whose output exists (default: skip them, so an\n"
           "                interrupted batch resumes)\n"
           "  --shard I/N   take every N-th job starting at I (I from 0), to split a\n"
           "                batch over machines\n"
           "Other options go to the subcommand. Failures are listed on stderr and in\n"
           "DIR/batch-failures.csv; the exit code is 4 if any job failed.\n";
}

Command addBatch(CLI::App& app) {
    // Listed in the tool's help; main hands the arguments to runBatch.
    CLI::App* sub = app.add_subcommand("batch", "Run matte, cutout or foreground over many images");
    sub->allow_extras();
    return {sub, [](Context&) { return kExitUsage; }};
}

}  // namespace qxcli
