// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/libav_decoder.h"

#include "audio/reader.h"

#include <dlfcn.h>
#include <filesystem>
#include <mutex>
#include <string>

namespace larkspin {

namespace {

constexpr char kFile[] = "liblarkspin_libav.so";

const LibavModule* Load() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path path = program.parent_path() / LARKSPIN_MODULE_DIR / kFile;
    // Never closed: its decoders may live as long as the program.
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = module == nullptr ? nullptr : ::dlsym(module, kLibavModuleSymbol);
    return symbol == nullptr ? nullptr : reinterpret_cast<LibavModuleFunction>(symbol)();
}

} // namespace

const LibavModule* FindLibavModule() {
    static std::mutex lock;
    static const LibavModule* module = nullptr;
    const std::scoped_lock hold(lock);
    if (module == nullptr) {
        module = Load();
    }
    return module;
}

const LibavModule& GetLibavModule() {
    const LibavModule* module = FindLibavModule();
    if (module == nullptr) {
        throw CReaderException(std::string("Larkspin's module ")
                                   .append(kFile)
                                   .append(" cannot be loaded; install Larkspin again."));
    }
    return *module;
}

} // namespace larkspin
