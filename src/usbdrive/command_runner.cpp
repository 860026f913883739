// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/command_runner.h"

#include "platform/clock.h"
#include "platform/insist.h"

#include <algorithm>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace larkspin {

namespace {

constexpr uint8_t kRequestSense = 0x03;
constexpr uint8_t kAbortedCommand = 0x0B;
constexpr uint8_t kDataPhaseError = 0x4B;
constexpr uint32_t kSenseBytes = 18;
// Time-outs on this bus are up to the host: it cancels its transfers and resets the drive.
constexpr uint32_t kNoTimeOut = 24 * 3600;

// A disagreement between host and drive about a command's data is reported differently from other
// refusals (bulk-only transport, 5.2, phase error).
bool IsPhaseError(const PortCompletion& completion) {
    return completion.error != PortError::None ||
           ((completion.sense[2] & 0x0F) == kAbortedCommand &&
            completion.sense[12] == kDataPhaseError);
}

} // namespace

CCommandRunner::CCommandRunner(VirtualDrive& drive, std::FILE* log)
    : m_drive(drive), m_log(log), m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_worker([this] { Work(); }) {}

CCommandRunner::~CCommandRunner() {
    {
        const std::lock_guard lock(m_mutex);
        m_isLeaving = true;
    }
    m_wake.notify_one();
    m_worker.join();
    ::close(m_event);
}

void CCommandRunner::Start(ScsiJob job) {
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
    }
    m_wake.notify_one();
}

std::vector<ScsiResult> CCommandRunner::TakeResults() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = ::read(m_event, &count, sizeof count);
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_results, {});
}

void CCommandRunner::Work() {
    while (true) {
        ScsiJob job;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_isLeaving || !m_jobs.empty(); });
            if (m_isLeaving) {
                return;
            }
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        ScsiResult result;
        try {
            result = Execute(job);
        } catch (const std::exception&) { // no memory for the data: the host resets the drive
            result.number = job.number;
            result.status = ScsiResult::PhaseError;
        }
        Insist([&] {
            const std::lock_guard lock(m_mutex);
            m_results.push_back(std::move(result)); // untouched if it throws
        });
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t ignored = ::write(m_event, &one, sizeof one);
    }
}

ScsiResult CCommandRunner::Execute(ScsiJob& job) {
    const uint64_t begin = SystemClock().TickMs();
    const std::optional<std::array<uint8_t, 32>> sense = std::exchange(m_sense, std::nullopt);
    const auto wanted = static_cast<uint32_t>(job.data.size());
    PortCompletion completion;
    if (job.cdb[0] == kRequestSense && sense && !job.out) {
        completion.moved = std::min<uint32_t>({kSenseBytes, job.cdb[4], wanted});
        std::copy_n(sense->begin(), completion.moved, job.data.begin());
    } else {
        PortRequest request;
        request.cdb = job.cdb;
        request.direction = job.out ? PortDirection::Out : PortDirection::In;
        request.data = job.data.data();
        request.length = wanted;
        request.timeoutSeconds = kNoTimeOut;
        completion = m_drive.Execute(request);
        if (completion.status != 0) {
            m_sense = completion.sense;
        }
    }
    Log(job, completion, wanted, SystemClock().TickMs() - begin);
    ScsiResult result;
    result.number = job.number;
    if (IsPhaseError(completion)) {
        result.status = ScsiResult::PhaseError;
    } else if (completion.status != 0) {
        result.status = ScsiResult::Failed;
    }
    if (job.out) {
        result.taken = completion.moved;
    } else {
        job.data.resize(std::min(completion.moved, wanted));
        result.data = std::move(job.data);
    }
    return result;
}

void CCommandRunner::Log(const ScsiJob& job, const PortCompletion& completion, uint32_t wanted,
                         uint64_t milliseconds) {
    if (m_log == nullptr) {
        return;
    }
    for (size_t i = 0; i < job.cdb.size(); ++i) {
        std::fprintf(m_log, i == 0 ? "%02x" : " %02x", job.cdb[i]);
    }
    std::fprintf(m_log, "\t%u", completion.moved);
    if (job.out) {
        std::fprintf(m_log, "/%u", wanted); // sent
    }
    std::fprintf(m_log, "\t%02x\t%x/%02x/%02x\t%llu\n", completion.status,
                 completion.sense[2] & 0x0F, completion.sense[12], completion.sense[13],
                 static_cast<unsigned long long>(milliseconds));
    std::fflush(m_log);
}

} // namespace larkspin
