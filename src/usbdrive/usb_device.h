// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The device on the bus: the control endpoint's requests (USB 2.0, chapter 9; bulk-only transport,
// chapter 3), and the way of a transfer to the endpoint that it is for.
//
// All calls come from one thread, the one that serves the bus.
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

    // `bytes`: what the host sends along.
    void Submit(const UsbSubmit& transfer, std::span<const uint8_t> bytes);
    // False if the transfer had been answered before; no answer follows if it had not.
    bool TakeBack(uint32_t sequence) { return m_bulk.TakeBack(sequence); }
    void Finish(ScsiResult result) { m_bulk.Finish(std::move(result)); }

  private:
    void Control(const UsbSubmit& transfer);
    // The answer, or nothing if the request is not known and the endpoint stalls.
    bool Answer(const UsbSubmit& transfer, std::vector<uint8_t>* answer);
    bool AnswerEndpoint(uint8_t request, uint16_t value, uint8_t address,
                        std::vector<uint8_t>* answer);

    IUsbReplies& m_replies;
    CBulkOnly m_bulk;
    const std::string m_serial;
    uint8_t m_configuration = 0;
};

} // namespace larkspin
