#include "platform/machine/linux/CapacityProbe.h"

#include "base/Mutex.h"
#include "platform/linux/Descriptors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

namespace tallywick {

namespace {

std::optional<std::int64_t> sizeInBytes(std::uint64_t blocks, std::uint64_t blockSize) {
    std::int64_t size = 0;
    return __builtin_mul_overflow(blocks, blockSize, &size) ? std::nullopt : std::optional(size);
}

/// Whether the folder is the top of that very mount and not of one that covers it. Kernels before
/// 5.8 do not tell, and are believed.
bool isTopOf(const Mount& mount, const UniqueFd& folder) {
    struct statx status {};
    const bool told =
        ::statx(folder.get(), "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_MNT_ID, &status) == 0
        && (status.stx_mask & STATX_MNT_ID) != 0;
    return !told || status.stx_mnt_id == mount.id;
}

} // namespace

std::optional<Capacity> askCapacity(const Mount& mount) {
    const UniqueFd folder(::open(mount.mountPoint.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct statvfs status {};
    if (!folder || !isTopOf(mount, folder) || ::fstatvfs(folder.get(), &status) != 0)
        return std::nullopt;
    return Capacity{sizeInBytes(status.f_blocks, status.f_frsize),
                    sizeInBytes(status.f_bavail, status.f_frsize)};
}

/// What the probe and the threads of its questions share.
struct CapacityProbe::Shared {
    struct Question {
        Mount mount;
        bool unanswered = false;
        std::optional<Capacity> lastKnown;
    };

    explicit Shared(Ask function) : ask(std::move(function)) {}

    const Ask ask;
    Mutex mutex;
    Condition answered;
    std::vector<Question> questions GUARDED_BY(mutex); // at most one for a mount

    Question& questionFor(const Mount& mount) REQUIRES(mutex) {
        const auto found = std::find_if(questions.begin(), questions.end(),
                                        [&](const Question& q) { return q.mount == mount; });
        return found != questions.end() ? *found : questions.emplace_back(Question{mount, {}, {}});
    }

    bool mayAsk(const Mount& mount) REQUIRES(mutex) {
        const auto unanswered = std::count_if(questions.begin(), questions.end(),
                                              [](const Question& q) { return q.unanswered; });
        return !questionFor(mount).unanswered
               && static_cast<std::size_t>(unanswered) < maximumUnanswered;
    }

    void settle(const Mount& mount, const std::optional<Capacity>& answer) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        Question& question = questionFor(mount);
        question.unanswered = false;
        question.lastKnown = answer;
        answered.notifyAll();
    }
};

CapacityProbe::CapacityProbe(Ask ask) : shared(std::make_shared<Shared>(std::move(ask))) {}

std::optional<Capacity> CapacityProbe::capacity(const Mount& mount,
                                                std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    MutexLock lock(shared->mutex);
    if (!shared->mayAsk(mount))
        return shared->questionFor(mount).lastKnown;
    try {
        std::thread([questions = shared, mount] {
            questions->settle(mount, questions->ask(mount));
        }).detach();
    } catch (const std::system_error&) { // no thread to be had now
        return shared->questionFor(mount).lastKnown;
    }
    // The lock is held since before the thread began: its answer comes after this line.
    shared->questionFor(mount).unanswered = true;
    while (shared->questionFor(mount).unanswered
           && shared->answered.waitUntil(shared->mutex, deadline)) {
    }
    return shared->questionFor(mount).lastKnown;
}

void CapacityProbe::keepOnly(const std::vector<Mount>& mounts) {
    MutexLock lock(shared->mutex);
    std::erase_if(shared->questions, [&](const Shared::Question& question) {
        return !question.unanswered
               && std::find(mounts.begin(), mounts.end(), question.mount) == mounts.end();
    });
}

} // namespace tallywick
