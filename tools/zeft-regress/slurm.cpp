// With Slurm all comparisons are one job array. It has as many tasks as the cluster allows; with N
// tasks, each runs every Nth comparison. Results come through the file system; Slurm's state of a
// task explains missing ones.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <sstream>

#include "files.h"
#include "process.h"
#include "regression.h"
#include "runner.h"

namespace regress {

namespace {

constexpr const char* kTasks = "/tasks";  // below the results: the names, one per line

/// @return the words of an output, which one character separates
std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

long numberIn(const std::string& text, long otherwise) {
    long number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// Slurm's state of one task of the array.
struct Task {
    std::string state, reason, node;

    bool isOver() const {
        for (const char* const going :
             {"PENDING", "CONFIGURING", "RUNNING", "COMPLETING", "SUSPENDED", "REQUEUED",
              "REQUEUE_HOLD", "RESIZING", "SIGNALING", "STAGE_OUT", "STOPPED", "SPECIAL_EXIT"})
            if (state == going) return false;
        return true;
    }
    std::string text() const {
        std::string words = "Slurm: " + state;
        if (!reason.empty() && reason != "None") words += ", " + reason;
        return node.empty() ? words : words + ", node " + node;
    }
};

class JobArray {
public:
    explicit JobArray(const Regression& theRegression)
        : regression(theRegression), progress(regression.pending.size()) {}
    void submit();
    /// Waits until no task is left, or a signal arrives.
    void wait();
    void cancel();
    /// Writes Slurm's reason as the result of those without one.
    void explain() const;

private:
    static long largestArray();
    bool look();
    void showProgress();
    std::string reasonOf(size_t place) const;

    const Regression& regression;
    Progress progress;
    std::string job;
    size_t taskCount = 0;
    std::map<long, Task> tasks;  ///< the last known state of each, by its number
    std::string lost;            ///< why Slurm is no longer asked; empty while it is
    std::vector<std::string> waiting;
    size_t failed = 0;
};

long JobArray::largestArray() {
    int status = 0;
    const std::string text = outputOf({"scontrol", "show", "config"}, status);
    for (const std::string& line : split(text, '\n'))
        if (line.starts_with("MaxArraySize"))
            return std::max(1L, numberIn(line.substr(line.find('=') + 2), 1001));
    throw Failure("Slurm does not answer: scontrol: " + firstLine(text));
}

void JobArray::submit() {
    const Options& options = regression.options;
    taskCount = std::min(regression.pending.size(), static_cast<size_t>(largestArray()));
    std::string names;
    for (const std::string& name : regression.pending) names += name + "\n";
    writeFile(options.results + kTasks, names);
    std::vector<std::string> command = {"sbatch",
                                        "--parsable",
                                        "--no-requeue",
                                        "--job-name=zeft-regress",
                                        "--output=" + options.results + "/slurm-%a.log",
                                        "--array=0-" + std::to_string(taskCount - 1)};
    command.insert(command.end(), options.slurmOptions.begin(), options.slurmOptions.end());
    int status = 0;
    const std::string script =
        "#!/bin/sh\nexec " +
        shellText({ownPath(), "--run-task", options.results, std::to_string(options.timeout)}) +
        "\n";
    const std::string text = outputOf(command, status, script);
    if (status != 0) throw Failure("Slurm does not take the job: " + firstLine(text));
    const std::vector<std::string> lines = split(text, '\n');
    job = lines.empty() ? "" : lines.back().substr(0, lines.back().find(';'));
    if (numberIn(job, 0) == 0) throw Failure("Slurm does not take the job: " + firstLine(text));
}

/// Asks Slurm for the states of all tasks.
/// @return whether any task is left
bool JobArray::look() {
    int status = 0;
    const std::string text =
        outputOf({"squeue", "-h", "-r", "-t", "all", "-j", job, "-o", "%K|%T|%r|%N"}, status);
    // Slurm forgets a job some time after its end.
    if (status != 0 && text.find("Invalid job id") != std::string::npos) return false;
    if (status != 0) {
        lost = "Slurm does not answer: " + firstLine(text);
        return true;
    }
    lost.clear();
    bool isAnyLeft = false;
    for (const std::string& line : split(text, '\n')) {
        const std::vector<std::string> fields = split(line + "|", '|');
        if (fields.size() < 4) continue;
        Task& task = tasks[numberIn(fields[0], -1)];
        task = {fields[1], fields[2], fields[3]};
        isAnyLeft |= !task.isOver();
    }
    return isAnyLeft;
}

void JobArray::showProgress() {
    const auto isFinished = [&](const std::string& name) {
        const auto result = regression.folder(name).result();
        if (result) failed += result->status != kAgrees;
        return result.has_value();
    };
    std::erase_if(waiting, isFinished);
    progress.show(regression.pending.size() - waiting.size(), failed);
}

void JobArray::wait() {
    constexpr int kMostFailures = 100;
    waiting = regression.pending;
    timespec pause{0, 200'000'000};
    for (int failures = 0; look() && caughtSignal() == 0 && failures < kMostFailures;) {
        showProgress();
        failures = lost.empty() ? 0 : failures + 1;
        nanosleep(&pause, nullptr);
        pause.tv_sec = std::min<time_t>(pause.tv_sec + 1, 5);
    }
    // On a network file system, results become visible some time after they were written.
    const auto isLate = [&](size_t place) {
        return reasonOf(place).starts_with("Slurm: COMPLETED") &&
               !regression.folder(regression.pending[place]).hasResult();
    };
    const auto hasAll = [&] {
        for (size_t i = 0; i < regression.pending.size(); ++i)
            if (isLate(i)) return false;
        return true;
    };
    pause = {1, 0};
    for (int tries = 0; caughtSignal() == 0 && tries < 10 && !hasAll(); ++tries)
        nanosleep(&pause, nullptr);
}

/// Ends all tasks, and lets them write the results of their models.
void JobArray::cancel() {
    int status = 0;
    outputOf({"scancel", job}, status);
    const timespec pause{1, 0};
    for (int tries = 0; tries < 20 && look(); ++tries) nanosleep(&pause, nullptr);
}

/// @param place  of a comparison among the pending ones
std::string JobArray::reasonOf(size_t place) const {
    const auto task = tasks.find(static_cast<long>(place % taskCount));
    if (!lost.empty()) return lost;
    return task == tasks.end() ? "Slurm: does not know the task" : task->second.text();
}

void JobArray::explain() const {
    for (size_t i = 0; i < regression.pending.size(); ++i) {
        const std::string& name = regression.pending[i];
        const auto result = regression.folder(name).result();
        if (!result) regression.giveUp(name, reasonOf(i));
    }
    for (size_t i = 0; i < taskCount; ++i) {
        const std::string log = regression.options.results + "/slurm-" + std::to_string(i) + ".log";
        if (const auto text = readFile(log); text && text->empty()) unlink(log.c_str());
    }
    unlink((regression.options.results + kTasks).c_str());
}

}  // namespace

int runBySlurm(const Regression& regression) {
    if (regression.pending.empty()) return 0;
    JobArray array(regression);
    array.submit();
    array.wait();
    if (caughtSignal() != 0) array.cancel();
    array.explain();
    return caughtSignal();
}

int runSlurmTask(const std::string& results, int timeout) {
    const char* const id = std::getenv("SLURM_ARRAY_TASK_ID");
    const char* const count = std::getenv("SLURM_ARRAY_TASK_COUNT");
    if (!id || !count) throw Failure("--run-task is for tasks of a job array");
    const auto text = readFile(results + kTasks);
    if (!text) throw Failure(systemError(results + kTasks, "cannot be read"));
    const std::vector<std::string> names = split(*text, '\n');
    const auto step = static_cast<size_t>(std::max(1L, numberIn(count, 1)));
    for (auto i = static_cast<size_t>(numberIn(id, 0)); i < names.size(); i += step)
        if (!runEntry(Folder(results, names[i]), timeout)) return kFailed;
    return kAgrees;
}

}  // namespace regress
