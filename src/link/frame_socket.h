// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Frames over one end of a socket pair: a 32-bit length, then that many bytes.
//
// One thread may send while another one receives; Shut may be called on any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace larkspin {

class FrameSocket {
  public:
    // Far more than is ever sent. Memory is not reserved by the stated length, so a wrong one costs
    // nothing.
    static constexpr size_t kMaxFrame = size_t{256} << 20;

    // Owns `fd`.
    explicit FrameSocket(int fd) : m_fd(fd) {}
    FrameSocket(const FrameSocket&) = delete;
    FrameSocket& operator=(const FrameSocket&) = delete;
    ~FrameSocket();

    // Waits until there is room. False if the other end has gone, or the frame exceeds kMaxFrame.
    bool Send(std::string_view frame);
    // Waits for the next frame. Empty if the other end has gone, even in the middle of a frame, or
    // if a length exceeds kMaxFrame.
    std::optional<std::string> Receive();
    // Ends the connection for both ends; waiting calls of Send and Receive return.
    void Shut();

  private:
    bool ReceiveBytes(char* to, size_t bytes);

    const int m_fd;
};

} // namespace larkspin
