// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What drivers made of kernels, from one start of the console to the next: files of this user,
// which the service, that has no files, gets and leaves as memory. A file belongs to one driver and
// one kernel of one program text, as this side knows it, and is written only if the service has
// seen no other program. So a program that gets hold of the service can leave something for itself,
// but not for another program.
#pragma once

#include "gpu/host/CallbackThread.h"
#include "gpu/host/WakeUp.h"
#include "platform/base/SharedMemory.h"
#include "platform/files/FileCache.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace gpu::host {

/// What a driver makes a kernel of, as the console knows it.
struct KernelText {
    std::string source; ///< of the whole program
    std::string function;
    std::vector<std::byte> constants;
};

/// One kernel's memory, for one driver.
class KeptPipeline {
public:
    using Clock = std::chrono::steady_clock;

    explicit KeptPipeline(std::string driver) : m_driver(std::move(driver)) {}

    /// Of the memory (compute/protocol/CodeRecord.h), or -1.
    int descriptor() const { return m_memory ? m_memory->descriptor() : -1; }
    /// Whether there is something in it from an earlier start.
    bool isFromFile() const { return m_isFromFile; }

private:
    friend class KeptPipelines;

    const std::string m_driver;
    const Clock::time_point m_madeAt = Clock::now();
    /// It is not written: the service that had it has ended, or has seen another program.
    std::atomic<bool> m_isSpoiled = false;
    bool m_isLost = false;   ///< that service has ended
    bool m_isBlamed = false; ///< and not because the console wished it
    std::atomic<bool> m_isFound = false;
    // Stay as they are once that is true.
    std::shared_ptr<platform::SharedMemory> m_memory;
    bool m_isFromFile = false;
    // The disk thread's.
    std::string m_name;           ///< of the file
    std::uint64_t m_checksum = 0; ///< of the record in the file
    unsigned m_writes = 0;
};

/// The client calls it under its lock. A thread of its own reads and writes the files, so that no
/// disk holds anybody up.
class KeptPipelines {
public:
    /// `wakeUp` hears when something is at hand; it must outlive this.
    explicit KeptPipelines(const WakeUp& wakeUp, platform::FileCache files = ofThisUser());

    /// The text is the console's own: it spoils nothing. Nor is anything kept of it, since it is in
    /// the company of all programs.
    void vouchFor(std::string_view source);
    bool isVouchedFor(std::string_view source) const;
    /// Before the service gets a text.
    void textIsSent(const std::string& source);

    /// Whether all is at hand that is kept of a pipeline for this driver, which may be nothing;
    /// otherwise it is looked for, if it is not already. `text` is asked for then.
    bool prepare(std::shared_ptr<KeptPipeline>& kept, const std::string& driver,
                 const std::function<KernelText()>& text);
    /// While the service is well: now and then, has what has been there for some seconds written to
    /// the files.
    void keepNowAndThen();
    /// What it had and was not written yet is gone. Unless the console wished that it ended, what
    /// it had may be why, and is not given to the next one.
    void serviceEnded(bool isWished);
    /// Writes what is new and waits for it. Nothing else may be called after it.
    void finish();

    /// `pipelines` in the cache folder; off with SL42_VULKAN_CACHE=0.
    static platform::FileCache ofThisUser();

private:
    using Clock = KeptPipeline::Clock;

    void find(KeptPipeline& kept, const KernelText& text, bool reads) const;
    std::vector<std::shared_ptr<KeptPipeline>> inUse();
    void keep(Clock::time_point madeBefore);
    void write(KeptPipeline& kept) const;

    const WakeUp& m_wakeUp;
    const platform::FileCache m_files;
    std::vector<std::string> m_ownTexts;
    std::string m_text;     ///< of the program that the service has seen; empty before
    bool m_isMixed = false; ///< it has seen another one, too
    std::vector<std::weak_ptr<KeptPipeline>> m_all;
    Clock::time_point m_keptAt = Clock::now();
    CallbackThread m_disk; // last, so that its thread ends first
};

} // namespace gpu::host
