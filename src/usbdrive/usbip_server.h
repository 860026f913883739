// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Serves the device over a socket whose other end is held by the kernel's virtual host controller.
// All calls come from one thread.
#pragma once

#include "usbdrive/usb_device.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

class CUsbipServer final : public IUsbReplies {
  public:
    // The socket still belongs to the caller.
    CUsbipServer(int socket, IScsiUnit& unit, std::string serial);

    // Handles what has arrived. False when the stream has ended or is invalid: the host has gone.
    bool Receive();
    void Finish(ScsiResult result) { m_device.Finish(std::move(result)); }

    void Reply(uint32_t sequence, int32_t status, std::span<const uint8_t> data,
               uint32_t actual) override;

  private:
    // False if there is no complete message. Adds the size of the message to `consumed`.
    bool TakeMessage(std::span<const uint8_t> bytes, size_t* consumed);
    void Send(std::span<const uint8_t> header, std::span<const uint8_t> data);

    int m_socket;
    CUsbDevice m_device;
    std::vector<uint8_t> m_received;
    bool m_isGone = false;
};

} // namespace larkspin
