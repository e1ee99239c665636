// Checks the records whose headers a scan finds: where each begins, and whether its planes are whole.
#pragma once

#include "krw/format.h"
#include "tools/recover/claimed_bytes.h"
#include "tools/recover/found_record.h"
#include "tools/recover/plane_checks.h"
#include "tools/recover/record_scan.h"
#include "tools/recover/signature_search.h"
#include "tools/recover/source.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <future>
#include <vector>

/// The most records of one run. They take 23 MiB. A card of 2 TB with frames of 5 MB has fewer.
inline constexpr std::size_t kMostRecords = 500'000;

/// Checks planes while the scan goes on. At most 24 MiB of planes, or one frame, wait for their check.
class RecordChecks final {
  public:
    RecordChecks(const Source& source, unsigned jobs) : m_source(source), m_planes(source, jobs) {
        // Reserved memory that is not touched costs nothing. A growing vector would take twice as much. Each
        // record has a signature of its own.
        m_records.reserve(std::min<std::uint64_t>(kMostRecords, source.size() / kSignatureSize));
    }

    /// Waits until there is room for the record. Throws std::runtime_error for more than kMostRecords, and
    /// what Source::read throws.
    void add(const ScannedHeader& header);
    /// Returns the records in the order of the source. Call it after the last `add`.
    [[nodiscard]] std::vector<FoundRecord> finish();

  private:
    using Header = std::array<std::uint8_t, krwfile::danraw::kSize>;
    using Results = std::array<std::future<kinedec::PlaneResult>, krwfile::plane::kCount>;

    struct Pending {
        FoundRecord record;
        Header header;
        std::vector<std::uint32_t> offsets; // of the DANRAW_HEADER in the record, the one under test first
        bool underWay = false;
        Results results;
        std::uint64_t bytes = 0;
    };

    [[nodiscard]] std::vector<std::uint32_t> possibleOffsets(const ScannedHeader& header) const;
    /// Describes the record for one assumed start, and begins the check when there is something to check.
    void begin(Pending& pending, std::uint32_t danrawOffset);
    /// Takes the result of the check that is under way.
    void end(Pending& pending);
    /// Tries all assumed starts and keeps the best. The check of the first may be under way.
    void settle(Pending& pending);
    void settleOldest();
    void store(const Pending& pending);
    /// Tries again with the starts that later file headers stated.
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

/// The planes of a record that lie inside the source.
[[nodiscard]] std::vector<PlanePlace> planePlaces(const Source& source, const FoundRecord& record,
                                                  ByteView danraw);

/// False for a plane with fewer bits than samples. Every sample takes a bit or more, so such a plane is
/// damaged. Decoding it would only read zeros behind its data.
[[nodiscard]] bool canHoldItsSamples(const PlanePlace& place);
