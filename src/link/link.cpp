// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "link/link.h"
#include "platform/insist.h"

#include <algorithm>

namespace larkspin {

Link::Link(int fd, Post post) : m_socket(fd), m_post(std::move(post)) {}

void Link::Start(std::function<void()> onClosed) {
    m_writer = std::thread([this] { Write(); });
    m_reader = std::thread([this, closed = std::move(onClosed)] { Read(closed); });
}

void Link::Close() {
    constexpr std::chrono::seconds kLastWordsTime{1};
    if (m_writer.joinable()) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, kLastWordsTime,
                           [this] { return m_bClosed || (m_toSend.empty() && !m_bSending); });
    }
    MarkClosed();
    if (m_reader.joinable()) {
        m_reader.join();
    }
    if (m_writer.joinable()) {
        m_writer.join();
    }
    ReleaseWaits();
    for (Worker& worker : m_workers) { // no more are added
        worker.thread.join();
    }
    m_workers.clear();
}

void Link::MarkClosed() {
    {
        const std::lock_guard lock(m_mutex);
        m_bClosed = true;
        m_toSend.clear();
    }
    m_changed.notify_all();
    m_socket.Shut();
}

bool Link::IsClosed() {
    const std::lock_guard lock(m_mutex);
    return m_bClosed;
}

bool Link::WaitClosed(std::chrono::milliseconds time) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, time, [this] { return m_bClosed; });
}

void Link::ReleaseWaits() {
    std::unique_lock lock(m_mutex);
    m_bReleased = true;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_waiting.empty(); });
}

void Link::PutHead(std::string& out, const Head& head) {
    Put(out, static_cast<uint8_t>(head.kind));
    Put(out, static_cast<uint16_t>(head.op));
    Put(out, head.serial);
    Put(out, head.parent);
}

Link::Head Link::GetHead(const std::string& frame) {
    FrameReader in(frame);
    const auto kind = Get<uint8_t>(in);
    if (kind > static_cast<uint8_t>(Kind::NoAnswer)) {
        throw LinkError("a frame is of no kind");
    }
    Head head;
    head.kind = static_cast<Kind>(kind);
    head.op = static_cast<OpId>(Get<uint16_t>(in));
    head.serial = Get<uint32_t>(in);
    head.parent = Get<uint32_t>(in);
    return head;
}

std::string_view Link::Body(const std::string& frame) {
    return std::string_view(frame).substr(kHeadBytes);
}

// The question that this thread is handling, on any link: no thread serves two.
uint32_t& Link::Serving() {
    thread_local uint32_t serial = 0;
    return serial;
}

void Link::Take(OpId op, Where where, Handler handler) {
    const std::lock_guard lock(m_mutex);
    m_handlers[op] = {where, std::move(handler)};
}

void Link::Enqueue(std::function<std::string()> build) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_bClosed) {
            return;
        }
        m_toSend.push_back(std::move(build));
    }
    m_changed.notify_all();
}

void Link::Write() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_bClosed || !m_toSend.empty(); });
        if (m_bClosed) {
            return;
        }
        const std::function<std::string()> build = std::move(m_toSend.front());
        m_toSend.pop_front();
        m_bSending = true;
        lock.unlock();
        OrClose([&] {
            if (!m_socket.Send(build())) {
                MarkClosed();
            }
        });
        lock.lock();
        m_bSending = false;
        m_changed.notify_all();
    }
}

std::optional<std::string> Link::AskFrame(OpId op, const std::string& arguments) {
    Waiting wait;
    {
        const std::lock_guard lock(m_mutex);
        if (m_bClosed || m_bReleased) {
            return std::nullopt;
        }
        wait.serial = ++m_nLastSerial;
        m_waiting.push_back(&wait);
    }
    // Leaves the list however the wait ends.
    struct Leave {
        Link& link;
        Waiting& wait;
        ~Leave() {
            const std::lock_guard lock(link.m_mutex);
            std::erase(link.m_waiting, &wait);
            link.m_changed.notify_all();
        }
    } const leave{*this, wait};
    std::string frame;
    PutHead(frame, {Kind::Ask, op, wait.serial, Serving()});
    frame += arguments;
    Enqueue([frame = std::move(frame)] { return frame; });
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(
            lock, [&] { return m_bClosed || m_bReleased || wait.bAnswered || !wait.work.empty(); });
        if (m_bClosed || m_bReleased) {
            return std::nullopt;
        }
        if (wait.work.empty()) {
            return std::move(wait.answer);
        }
        const std::function<void()> work = std::move(wait.work.front());
        wait.work.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

void Link::Read(const std::function<void()>& onClosed) {
    try {
        while (std::optional<std::string> frame = m_socket.Receive()) {
            Receive(std::move(*frame));
        }
    } catch (const std::exception&) { // not a frame, or no memory for it
    }
    MarkClosed();
    Insist(onClosed);
}

void Link::Receive(std::string frame) {
    const Head head = GetHead(frame);
    if (head.kind == Kind::Answer || head.kind == Kind::NoAnswer) {
        const std::lock_guard lock(m_mutex);
        for (Waiting* wait : m_waiting) { // it may not be waiting any more
            if (wait->serial == head.serial) {
                wait->bAnswered = true;
                if (head.kind == Kind::Answer) {
                    wait->answer = std::move(frame);
                }
                break;
            }
        }
        m_changed.notify_all();
        return;
    }
    Taken taken;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_handlers.find(head.op);
        if (found != m_handlers.end()) {
            taken = found->second;
        }
    }
    if (!taken.handler) {
        Answer(head, std::nullopt);
        return;
    }
    std::function<void()> work = [this, handler = std::move(taken.handler), head,
                                  frame = std::move(frame)] { Run(handler, head, frame); };
    switch (taken.where) {
    case Where::Reader:
        work();
        break;
    case Where::Main:
        m_post(std::move(work));
        break;
    case Where::Worker:
        if (!RunOnWorker(std::move(work))) {
            Answer(head, std::nullopt);
        }
        break;
    case Where::Caller:
        if (!RunOnCaller(head.parent, work)) {
            Answer(head, std::nullopt);
        }
        break;
    }
}

bool Link::RunOnWorker(std::function<void()> work) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_workers, [](Worker& worker) {
        if (worker.bDone) {
            worker.thread.join(); // it needs no lock any more
        }
        return worker.bDone;
    });
    Worker& worker = m_workers.emplace_back();
    try {
        worker.thread = std::thread([this, &worker, run = std::move(work)] {
            run();
            const std::lock_guard done(m_mutex);
            worker.bDone = true;
        });
    } catch (const std::exception&) { // no thread is available, or no memory for one
        m_workers.pop_back();
        return false;
    }
    return true;
}

bool Link::RunOnCaller(uint32_t serial, const std::function<void()>& work) {
    const std::lock_guard lock(m_mutex);
    const auto caller = std::find_if(m_waiting.begin(), m_waiting.end(), [&](const Waiting* wait) {
        return wait->serial == serial && !wait->bAnswered;
    });
    if (caller == m_waiting.end()) {
        return false;
    }
    (*caller)->work.push_back(work);
    m_changed.notify_all();
    return true;
}

void Link::Run(const Handler& handler, const Head& head, const std::string& frame) {
    const uint32_t before = std::exchange(Serving(), head.serial);
    std::optional<std::string> answer;
    try {
        answer = handler(frame);
    } catch (const LinkError&) {
        MarkClosed();
    } catch (const std::exception&) { // the other end gets no answer
    }
    Serving() = before;
    OrClose([&] { Answer(head, answer); });
}

void Link::Answer(const Head& question, const std::optional<std::string>& answer) {
    if (question.kind != Kind::Ask) {
        return;
    }
    std::string frame;
    PutHead(frame, {answer ? Kind::Answer : Kind::NoAnswer, question.op, question.serial, 0});
    frame += answer.value_or(std::string());
    Enqueue([frame = std::move(frame)] { return frame; });
}

} // namespace larkspin
