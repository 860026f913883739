// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "link/frame_socket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace larkspin {

namespace {

constexpr size_t kStep = size_t{64} << 10;

bool SendBytes(int fd, std::string_view bytes, int flags) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | flags);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

} // namespace

FrameSocket::~FrameSocket() {
    ::close(m_fd);
}

bool FrameSocket::Send(std::string_view frame) {
    if (frame.size() > kMaxFrame) {
        return false;
    }
    const auto length = static_cast<uint32_t>(frame.size());
    std::array<char, sizeof length> head = {};
    std::memcpy(head.data(), &length, sizeof length);
    return SendBytes(m_fd, {head.data(), head.size()}, frame.empty() ? 0 : MSG_MORE) &&
           SendBytes(m_fd, frame, 0);
}

bool FrameSocket::ReceiveBytes(char* to, size_t bytes) {
    while (bytes > 0) {
        const ssize_t got = ::recv(m_fd, to, bytes, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        to += got;
        bytes -= static_cast<size_t>(got);
    }
    return true;
}

std::optional<std::string> FrameSocket::Receive() {
    uint32_t length = 0;
    std::array<char, sizeof length> head = {};
    if (!ReceiveBytes(head.data(), head.size())) {
        return std::nullopt;
    }
    std::memcpy(&length, head.data(), sizeof length);
    if (length > kMaxFrame) {
        return std::nullopt;
    }
    std::string frame;
    while (frame.size() < length) {
        const size_t had = frame.size();
        frame.resize(std::min<size_t>(length, had + kStep));
        if (!ReceiveBytes(frame.data() + had, frame.size() - had)) {
            return std::nullopt;
        }
    }
    return frame;
}

void FrameSocket::Shut() {
    ::shutdown(m_fd, SHUT_RDWR);
}

} // namespace larkspin
