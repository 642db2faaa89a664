// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Who has which addresses of the region that kernels may use. There is one such region in a
// process, since machine code holds its addresses.
#pragma once

#include "platform/base/Mutex.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <map>

namespace compute::memory {

/// Any thread.
class AddressRegion {
public:
    /// Reserves the addresses when it is first called, which must be before the process locks
    /// itself down. The error says that other things lie there, or that the process may not have
    /// so many.
    static platform::Result<AddressRegion*> get();

    /// How far a piece is from its neighbours.
    enum class Spacing {
        Alone, ///< no offset from a pointer to it leads to another; some 250 such pieces fit
        Packed ///< a page apart
    };
    /// Whole pages, inaccessible as yet.
    platform::Result<std::byte*> take(std::size_t bytes, Spacing spacing);
    /// What take() handed out, with the same size and spacing; makes it inaccessible again.
    void giveBack(std::byte* piece, std::size_t bytes, Spacing spacing);

    /// An address of the region where there is never anything.
    static std::byte* nowhere();

private:
    /// Pieces of a range of addresses, at least `gap` bytes apart.
    class Pieces {
    public:
        Pieces(std::size_t begin, std::size_t end, std::size_t gap)
            : m_begin(begin), m_end(end), m_gap(gap) {}
        /// Address of a new piece; 0 when none is left.
        std::size_t take(std::size_t bytes);
        void giveBack(std::size_t piece) { m_taken.erase(piece); }

    private:
        std::size_t m_begin;
        std::size_t m_end;
        std::size_t m_gap;
        std::map<std::size_t, std::size_t> m_taken; ///< begin and end
    };

    AddressRegion();
    Pieces& pieces(Spacing spacing) SL42_REQUIRES(m_mutex) {
        return spacing == Spacing::Alone ? m_alone : m_packed;
    }

    platform::Mutex m_mutex;
    Pieces m_packed SL42_GUARDED_BY(m_mutex);
    Pieces m_alone SL42_GUARDED_BY(m_mutex);
    int m_error = 0;
};

} // namespace compute::memory
