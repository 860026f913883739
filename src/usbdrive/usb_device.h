// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The device on the bus: handles the control endpoint's requests (USB 2.0, chapter 9; bulk-only
// transport, chapter 3), and passes each transfer to its endpoint.
//
// All calls come from the thread that serves the bus.
#pragma once

#include "usbdrive/bulk_only.h"
#include "usbdrive/usbip_wire.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

class CUsbDevice {
  public:
    // `serial`: see UsbDescriptor.
    CUsbDevice(IScsiUnit& unit, IUsbReplies& replies, std::string serial);

    // `bytes`: the data from the host.
    void Submit(const UsbSubmit& transfer, std::span<const uint8_t> bytes);
    // False if the transfer has already been answered; otherwise no answer follows.
    bool TakeBack(uint32_t sequence) { return m_bulk.TakeBack(sequence); }
    void Finish(ScsiResult result) { m_bulk.Finish(std::move(result)); }

  private:
    void Control(const UsbSubmit& transfer);
    // The answer, or nothing if the request is unknown and the endpoint stalls.
    bool Answer(const UsbSubmit& transfer, std::vector<uint8_t>* answer);
    bool AnswerEndpoint(uint8_t request, uint16_t value, uint8_t address,
                        std::vector<uint8_t>* answer);

    IUsbReplies& m_replies;
    CBulkOnly m_bulk;
    const std::string m_serial;
    uint8_t m_configuration = 0;
};

} // namespace larkspin
