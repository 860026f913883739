// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/usbip_server.h"

#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <sys/uio.h>
#include <utility>

namespace larkspin {

CUsbipServer::CUsbipServer(int socket, IScsiUnit& unit, std::string serial)
    : m_socket(socket), m_device(unit, *this, std::move(serial)) {}

bool CUsbipServer::Receive() {
    constexpr size_t kChunk = size_t{256} * 1024;
    const size_t before = m_received.size();
    m_received.resize(before + kChunk);
    const ssize_t count = ::recv(m_socket, m_received.data() + before, kChunk, 0);
    m_received.resize(before + static_cast<size_t>(std::max<ssize_t>(count, 0)));
    if (count <= 0) {
        return count < 0 && errno == EINTR;
    }
    size_t consumed = 0;
    while (!m_isGone && TakeMessage(std::span(m_received).subspan(consumed), &consumed)) {
    }
    m_received.erase(m_received.begin(),
                     m_received.begin() + static_cast<std::ptrdiff_t>(consumed));
    return !m_isGone;
}

bool CUsbipServer::TakeMessage(std::span<const uint8_t> bytes, size_t* consumed) {
    if (bytes.size() < kUsbipHeaderBytes) {
        return false;
    }
    const std::optional<UsbipMessage> message = ParseUsbip(bytes.first<kUsbipHeaderBytes>());
    if (!message) {
        m_isGone = true;
        return false;
    }
    if (message->submit) {
        const UsbSubmit& transfer = *message->submit;
        if (bytes.size() < kUsbipHeaderBytes + transfer.PayloadBytes()) {
            return false;
        }
        *consumed += kUsbipHeaderBytes + transfer.PayloadBytes();
        m_device.Submit(transfer, bytes.subspan(kUsbipHeaderBytes, transfer.PayloadBytes()));
        return true;
    }
    *consumed += kUsbipHeaderBytes;
    const bool takenBack = m_device.TakeBack(message->unlink->victim);
    Send(PackUnlinkReply(message->unlink->sequence, takenBack ? -ECONNRESET : 0), {});
    return true;
}

void CUsbipServer::Reply(uint32_t sequence, int32_t status, std::span<const uint8_t> data,
                         uint32_t actual) {
    Send(PackSubmitReply(sequence, status, actual), data);
}

void CUsbipServer::Send(std::span<const uint8_t> header, std::span<const uint8_t> data) {
    std::array<iovec, 2> parts = {
        iovec{const_cast<uint8_t*>(header.data()), header.size()},
        iovec{const_cast<uint8_t*>(data.data()), data.size()},
    };
    msghdr message = {};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    size_t left = header.size() + data.size();
    while (left > 0) {
        const ssize_t sent = ::sendmsg(m_socket, &message, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) {
                continue;
            }
            m_isGone = true;
            return;
        }
        left -= static_cast<size_t>(sent);
        for (auto rest = static_cast<size_t>(sent); iovec & part : parts) {
            const size_t step = std::min(rest, part.iov_len);
            part.iov_base = static_cast<uint8_t*>(part.iov_base) + step;
            part.iov_len -= step;
            rest -= step;
        }
    }
}

} // namespace larkspin
