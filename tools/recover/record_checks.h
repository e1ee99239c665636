// From the headers that a scan finds to checked records: where each begins, and whether its planes are whole.
#pragma once

#include "krw/format.h"
#include "tools/recover/claimed_bytes.h"
#include "tools/recover/found_record.h"
#include "tools/recover/plane_checks.h"
#include "tools/recover/record_scan.h"
#include "tools/recover/source.h"

#include <array>
#include <cstdint>
#include <deque>
#include <future>
#include <vector>

/// Records that one run keeps: 23 MiB of them. A card of 2 TB with frames of 5 MB has fewer.
inline constexpr std::size_t kMostRecords = 500'000;

/// Checks planes while the scan goes on. At most 24 MiB of planes are under way, or one frame.
class RecordChecks final {
  public:
    RecordChecks(const Source& source, unsigned jobs) : m_source(source), m_planes(source, jobs) {
        // Memory that is not touched costs nothing. Growing would take twice as much.
        m_records.reserve(kMostRecords);
    }

    /// Waits until there is room for the record. Throws std::runtime_error for more than kMostRecords, and
    /// what Source::read throws.
    void add(const ScannedHeader& header);
    /// The records in the order of the source, when the last one has been added.
    [[nodiscard]] std::vector<FoundRecord> finish();

  private:
    using Header = std::array<std::uint8_t, krwfile::danraw::kSize>;
    using Results = std::array<std::future<kinedec::PlaneResult>, krwfile::plane::kCount>;

    struct Pending {
        FoundRecord record;
        Header header;
        std::vector<std::uint32_t>
            offsets; // where the DANRAW_HEADER may lie in the record; the first is being tried
        bool underWay = false;
        Results results;
        std::uint64_t bytes = 0;
    };

    [[nodiscard]] std::vector<std::uint32_t> possibleOffsets(const ScannedHeader& header) const;
    /// Describes the record for one place of its start and begins the check, when there is anything to check.
    void begin(Pending& pending, std::uint32_t danrawOffset);
    /// Takes the result of the check under way.
    void end(Pending& pending);
    /// Tries the places and keeps the best one. The first may be under way.
    void settle(Pending& pending);
    void settleOldest();
    void store(const Pending& pending);
    /// Tries again with places that file headers stated later.
    void tryLaterOffsets();

    const Source& m_source;
    PlaneChecks m_planes;
    ClaimedBytes m_claimed;
    std::deque<Pending> m_pending;
    std::uint64_t m_pendingBytes = 0;
    std::uint64_t m_bytesChecked = 0;    // of planes, in all tries
    std::vector<std::uint32_t> m_stated; // places that file headers of the source stated
    struct Unsettled {
        std::size_t record;
        std::size_t tried; // of m_stated
    };
    std::vector<Unsettled> m_unsettled;
    std::vector<FoundRecord> m_records;
};

/// Where the planes of a record lie in the source, those of it that lie inside.
[[nodiscard]] std::vector<PlanePlace> planePlaces(const Source& source, const FoundRecord& record,
                                                  ByteView danraw);

/// Every sample takes a bit or more. A plane with fewer is damaged, and decoding it would go on in zeros.
[[nodiscard]] bool canHoldSamples(const PlanePlace& place);
