// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The conversation of the engine with the process of the windows: each end tells the other things,
// and asks it things. Both ends have one Link.
//
// Telling and asking are typed by an Op, so that both ends agree on what is sent. Nothing that is
// told waits for the other end: it goes into a list that a thread of the link sends from. So a
// display that hangs never holds up a disc.
//
// When the other end goes, or sends what is no frame, or when something can't be said for want of
// memory, the link is closed: who waits for an answer gets none, and so does who asks later; what
// is told is dropped. Telling throws nothing; asking throws std::bad_alloc.
#pragma once

#include "link/codec.h"
#include "link/frame_socket.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace larkspin {

enum class OpId : uint16_t;

// An operation that can be sent: the types of its arguments and of its answer. One that is told
// has no answer.
template <typename Signature>
struct Op {
    OpId id;
};

class Link {
  public:
    using Post = std::function<void(std::function<void()>)>;

    // On which thread an operation runs that the other end sends.
    enum class Where {
        Reader, // the thread that reads the link: for what neither waits nor asks
        Main,   // the main thread, by way of `post`
        Worker, // one of its own: for what waits
        // The thread that asked for what the other end was doing when it sent this, while it waits
        // for that. No answer if it no longer does.
        Caller,
    };

    // Owns `fd`. `post` runs functions on the main thread, and outlives the link.
    Link(int fd, Post post);
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    ~Link() { Close(); }

    // --- what the other end sends. An operation that nobody takes has no answer. ---

    // Takes `op` from now on. `function` gets the arguments and returns the answer.
    template <typename Result, typename... Args, typename Function>
    void On(Op<Result(Args...)> op, Where where, Function function);
    // The same with a method of an object.
    template <typename Result, typename... Args, typename Object, typename Method>
    void On(Op<Result(Args...)> op, Where where, Object& object, Method method) {
        On(op, where,
           [&object, method](const Args&... args) -> Result { return (object.*method)(args...); });
    }
    // Starts reading. `onClosed` is called once on the thread that reads, when the other end has
    // gone.
    void Start(std::function<void()> onClosed);

    // --- what is sent; any thread ---

    template <typename... Args>
    void Tell(Op<void(Args...)> op, const std::type_identity_t<Args>&... args) {
        OrClose([&] { TellLater(op, [values = std::tuple<Args...>(args...)] { return values; }); });
    }
    // `values` gives the arguments as a tuple when their turn has come, on the thread that sends.
    // It must own what it uses.
    template <typename... Args, typename Values>
    void TellLater(Op<void(Args...)> op, Values values);
    // Asks, and waits for the answer. Empty if the link is or gets closed, if the waits are or get
    // released, or if the other end has no answer. Not on the thread that reads.
    template <typename Result, typename... Args>
    std::optional<Result> Ask(Op<Result(Args...)> op, const std::type_identity_t<Args>&... args);

    // Ends all waits, now and from now on. Returns when no thread waits any more.
    void ReleaseWaits();
    bool IsClosed();
    // Waits until the other end has gone; false if it has not in that time.
    bool WaitClosed(std::chrono::milliseconds time);
    // Closes the link. What was told before goes out first, if the other end takes it within a
    // second. No handler runs any more when this returns, but those that have been posted.
    void Close();

  private:
    enum class Kind : uint8_t { Tell, Ask, Answer, NoAnswer };

    // The head of each frame.
    struct Head {
        Kind kind = Kind::Tell;
        OpId op = {};
        uint32_t serial = 0; // of the question; 0 for what is told
        uint32_t parent = 0; // serial of the question that is being answered meanwhile, 0: none
    };

    // Gives the answer as it travels.
    using Handler = std::function<std::string(const std::string& frame)>;
    struct Taken {
        Where where;
        Handler handler;
    };
    struct Waiting {
        uint32_t serial = 0;
        std::deque<std::function<void()>> work;
        std::optional<std::string> answer; // the frame
        bool bAnswered = false;            // with or without
    };
    struct Worker {
        std::thread thread;
        bool bDone = false;
    };

    static constexpr size_t kHeadBytes = 1 + 2 + 4 + 4;

    static void PutHead(std::string& out, const Head& head);
    static Head GetHead(const std::string& frame);
    // What follows the head.
    static std::string_view Body(const std::string& frame);

    void Take(OpId op, Where where, Handler handler);
    void Enqueue(std::function<std::string()> build);
    std::optional<std::string> AskFrame(OpId op, const std::string& arguments);
    void Read(const std::function<void()>& onClosed);
    void Write();
    void Receive(std::string frame);
    bool RunOnWorker(std::function<void()> work);
    bool RunOnCaller(uint32_t serial, const std::function<void()>& work);
    void Run(const Handler& handler, const Head& head, const std::string& frame);
    void Answer(const Head& question, const std::optional<std::string>& answer);
    void MarkClosed();
    // Closes the link if `work` throws: the two ends would no longer agree.
    template <typename Work>
    void OrClose(const Work& work) noexcept;
    static uint32_t& Serving();

    FrameSocket m_socket;
    const Post m_post;
    std::mutex m_mutex; // guards all below but the threads
    std::condition_variable m_changed;
    std::map<OpId, Taken> m_handlers;
    std::deque<std::function<std::string()>> m_toSend;
    std::vector<Waiting*> m_waiting;
    std::list<Worker> m_workers;
    uint32_t m_nLastSerial = 0;
    bool m_bSending = false;
    bool m_bReleased = false;
    bool m_bClosed = false;
    std::thread m_reader;
    std::thread m_writer;
};

template <typename Result, typename... Args, typename Function>
void Link::On(Op<Result(Args...)> op, Where where, Function function) {
    Take(op.id, where, [function = std::move(function)](const std::string& frame) {
        const std::tuple<Args...> arguments = GetAll<Args...>(Body(frame));
        std::string answer;
        if constexpr (std::is_void_v<Result>) {
            std::apply(function, arguments);
        } else {
            Put<Result>(answer, std::apply(function, arguments));
        }
        return answer;
    });
}

template <typename... Args, typename Values>
void Link::TellLater(Op<void(Args...)> op, Values values) {
    OrClose([&] {
        Enqueue([op, values = std::move(values)] {
            std::string frame;
            PutHead(frame, {Kind::Tell, op.id, 0, 0});
            std::apply([&](const Args&... args) { (Put<Args>(frame, args), ...); }, values());
            return frame;
        });
    });
}

template <typename Work>
void Link::OrClose(const Work& work) noexcept {
    try {
        work();
    } catch (const std::exception&) {
        MarkClosed();
    }
}

template <typename Result, typename... Args>
std::optional<Result> Link::Ask(Op<Result(Args...)> op, const std::type_identity_t<Args>&... args) {
    std::string arguments;
    (Put<Args>(arguments, args), ...);
    const std::optional<std::string> answer = AskFrame(op.id, arguments);
    if (!answer) {
        return std::nullopt;
    }
    try {
        return std::get<0>(GetAll<Result>(Body(*answer)));
    } catch (const LinkError&) {
        MarkClosed();
        return std::nullopt;
    }
}

} // namespace larkspin
