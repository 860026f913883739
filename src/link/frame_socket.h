// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Frames over one end of a socket pair: a length of 32 bits, then as many bytes.
//
// One thread may send while another one receives; Shut may be called on any.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace larkspin {

class FrameSocket {
  public:
    // Far above what is ever sent. What the length says is not set aside before it has come, so a
    // wrong one costs nothing.
    static constexpr size_t kMaxFrame = size_t{256} << 20;

    // Owns `fd`.
    explicit FrameSocket(int fd) : m_fd(fd) {}
    FrameSocket(const FrameSocket&) = delete;
    FrameSocket& operator=(const FrameSocket&) = delete;
    ~FrameSocket();

    // Waits for room. False if the other end has gone, or the frame is longer than kMaxFrame.
    bool Send(std::string_view frame);
    // Waits for the next frame. Empty when the other end has gone, in the middle of a frame too,
    // and when a length is above kMaxFrame.
    std::optional<std::string> Receive();
    // Both ends see the end from now on; what waits in Send or Receive comes back.
    void Shut();

  private:
    bool ReceiveBytes(char* to, size_t bytes);

    const int m_fd;
};

} // namespace larkspin
