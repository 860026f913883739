// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The communication between the engine and the windows' process: each end can tell and ask the
// other one something. Both ends have one Link.
//
// Telling and asking are typed by an Op, so that both ends agree on the data. Telling never waits
// for the other end: the data goes into a list from which a thread of the link sends, so that a
// display that hangs never delays a disc.
//
// The link is closed when the other end goes, sends something that is not a frame, or when there is
// no memory for sending. Then, all questions get no answer, and what is told is dropped. Telling
// throws nothing; asking throws std::bad_alloc.
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

// An operation that can be sent: the types of its arguments and its answer. Operations for telling
// have no answer.
template <typename Signature>
struct Op {
    OpId id;
};

class Link {
  public:
    using Post = std::function<void(std::function<void()>)>;

    // The thread that handles an operation sent by the other end.
    enum class Where {
        Reader, // the thread that reads the link: for operations that neither wait nor ask
        Main,   // the main thread, through `post`
        Worker, // a new thread: for operations that wait
        // The thread whose question the other end was handling when it sent this, while that thread
        // waits for the answer. No answer if it no longer waits.
        Caller,
    };

    // Owns `fd`. `post` runs functions on the main thread, and must outlive the link.
    Link(int fd, Post post);
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    ~Link() { Close(); }

    // --- receiving; an operation without a handler has no answer ---

    // Handles `op` from now on. `function` gets the arguments and returns the answer.
    template <typename Result, typename... Args, typename Function>
    void On(Op<Result(Args...)> op, Where where, Function function);
    // The same with a method of an object.
    template <typename Result, typename... Args, typename Object, typename Method>
    void On(Op<Result(Args...)> op, Where where, Object& object, Method method) {
        On(op, where,
           [&object, method](const Args&... args) -> Result { return (object.*method)(args...); });
    }
    // Starts reading. `onClosed` is called once, on the reading thread, when the other end has
    // gone.
    void Start(std::function<void()> onClosed);

    // --- sending; any thread ---

    template <typename... Args>
    void Tell(Op<void(Args...)> op, const std::type_identity_t<Args>&... args) {
        OrClose([&] { TellLater(op, [values = std::tuple<Args...>(args...)] { return values; }); });
    }
    // `values` is called on the sending thread when it is its turn, and returns the arguments as a
    // tuple. It must own what it uses.
    template <typename... Args, typename Values>
    void TellLater(Op<void(Args...)> op, Values values);
    // Asks, and waits for the answer. Empty if the link is or gets closed, if the waits are or get
    // released, or if the other end has no answer. Must not be called on the reading thread.
    template <typename Result, typename... Args>
    std::optional<Result> Ask(Op<Result(Args...)> op, const std::type_identity_t<Args>&... args);

    // Ends all waits, current and future. Returns when no thread waits any more.
    void ReleaseWaits();
    bool IsClosed();
    // Waits until the other end has gone; false if it has not within that time.
    bool WaitClosed(std::chrono::milliseconds time);
    // Closes the link. Sends what was told before, if the other end accepts it within a second.
    // When this returns, no handler runs any more, except those that have been posted.
    void Close();

  private:
    enum class Kind : uint8_t { Tell, Ask, Answer, NoAnswer };

    // The head of each frame.
    struct Head {
        Kind kind = Kind::Tell;
        OpId op = {};
        uint32_t serial = 0; // of the question; 0 when telling
        uint32_t parent = 0; // serial of the question that is being handled; 0: none
    };

    // Returns the answer in its transferred form.
    using Handler = std::function<std::string(const std::string& frame)>;
    struct Taken {
        Where where;
        Handler handler;
    };
    struct Waiting {
        uint32_t serial = 0;
        std::deque<std::function<void()>> work;
        std::optional<std::string> answer; // the frame
        bool bAnswered = false;            // with or without an answer
    };
    struct Worker {
        std::thread thread;
        bool bDone = false;
    };

    static constexpr size_t kHeadBytes = 1 + 2 + 4 + 4;

    static void PutHead(std::string& out, const Head& head);
    static Head GetHead(const std::string& frame);
    // Everything after the head.
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
    std::mutex m_mutex; // guards everything below except the threads
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
