// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/stoppable_files.h"

namespace larkspin {

namespace {

class StoppableFile final : public ISequentialFile {
  public:
    StoppableFile(std::unique_ptr<ISequentialFile> file, std::stop_token stop)
        : m_pFile(std::move(file)), m_stop(std::move(stop)) {}

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        return m_stop.stop_requested() ? -1 : m_pFile->Read(buffer, bytes);
    }
    int64_t Size() override { return m_pFile->Size(); }
    bool Seek(uint64_t offset) override {
        return !m_stop.stop_requested() && m_pFile->Seek(offset);
    }
    int64_t Tell() override { return m_pFile->Tell(); }

  private:
    const std::unique_ptr<ISequentialFile> m_pFile;
    const std::stop_token m_stop;
};

} // namespace

std::unique_ptr<ISequentialFile> StoppableFiles::OpenSequential(const std::u16string& path) {
    auto file = m_stop.stop_requested() ? nullptr : m_files.OpenSequential(path);
    return file == nullptr ? nullptr : std::make_unique<StoppableFile>(std::move(file), m_stop);
}

} // namespace larkspin
