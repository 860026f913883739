// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Serves the device over the socket that the kernel's virtual host controller holds the other end
// of. All calls come from one thread.
#pragma once

#include "usbdrive/usb_device.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

class CUsbipServer final : public IUsbReplies {
  public:
    // The socket stays the caller's.
    CUsbipServer(int socket, IScsiUnit& unit, std::string serial);

    // Takes what has come in. False when the stream has ended or makes no sense: the host is gone.
    bool Receive();
    void Finish(ScsiResult result) { m_device.Finish(std::move(result)); }

    void Reply(uint32_t sequence, int32_t status, std::span<const uint8_t> data,
               uint32_t actual) override;

  private:
    // False if there is no whole message. `consumed` grows by the bytes of the one that was taken.
    bool TakeMessage(std::span<const uint8_t> bytes, size_t* consumed);
    void Send(std::span<const uint8_t> header, std::span<const uint8_t> data);

    int m_socket;
    CUsbDevice m_device;
    std::vector<uint8_t> m_received;
    bool m_isGone = false;
};

} // namespace larkspin
