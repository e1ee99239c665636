#include "tools/export/media_hash.h"

#include "tools/export/input_file.h"

#include <array>
#include <charconv>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <openssl/evp.h>
#include <stdexcept>
#include <string_view>
#include <xxhash.h>
#if defined(__x86_64__)
// This header chooses the widest vectors that the processor has.
#include <xxh_x86dispatch.h>
#endif

class MediaHash::State {
  public:
    virtual ~State() = default;
    virtual void update(std::span<const std::uint8_t> bytes) = 0;
    virtual std::vector<std::uint8_t> digest() = 0;
    [[nodiscard]] virtual std::string text() { return fmt::format("{:02x}", fmt::join(digest(), "")); }
};

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Xxh64 and the two forms of XXH3; `Traits` names the library's functions.
template <class Traits>
class XxHash final : public MediaHash::State {
  public:
    XxHash() : m_state(Traits::create()) {
        if (m_state == nullptr) throw std::bad_alloc();
        Traits::reset(m_state);
    }
    ~XxHash() override { Traits::release(m_state); }
    XxHash(const XxHash&) = delete;
    XxHash& operator=(const XxHash&) = delete;

    void update(std::span<const std::uint8_t> bytes) override {
        Traits::update(m_state, bytes.data(), bytes.size());
    }
    Bytes digest() override {
        const auto canonical = Traits::canonical(m_state);
        return {std::begin(canonical.digest), std::end(canonical.digest)};
    }

  private:
    typename Traits::State* m_state;
};

struct Xxh64 {
    using State = XXH64_state_t;
    static State* create() { return XXH64_createState(); }
    static void reset(State* state) { XXH64_reset(state, 0); }
    static void release(State* state) { XXH64_freeState(state); }
    static void update(State* state, const void* data, std::size_t size) { XXH64_update(state, data, size); }
    static XXH64_canonical_t canonical(State* state) {
        XXH64_canonical_t canonical;
        XXH64_canonicalFromHash(&canonical, XXH64_digest(state));
        return canonical;
    }
};

struct Xxh3 {
    using State = XXH3_state_t;
    static State* create() { return XXH3_createState(); }
    static void reset(State* state) { XXH3_64bits_reset(state); }
    static void release(State* state) { XXH3_freeState(state); }
    static void update(State* state, const void* data, std::size_t size) {
        XXH3_64bits_update(state, data, size);
    }
    static XXH64_canonical_t canonical(State* state) {
        XXH64_canonical_t canonical;
        XXH64_canonicalFromHash(&canonical, XXH3_64bits_digest(state));
        return canonical;
    }
};

struct Xxh128 {
    using State = XXH3_state_t;
    static State* create() { return XXH3_createState(); }
    static void reset(State* state) { XXH3_128bits_reset(state); }
    static void release(State* state) { XXH3_freeState(state); }
    static void update(State* state, const void* data, std::size_t size) {
        XXH3_128bits_update(state, data, size);
    }
    static XXH128_canonical_t canonical(State* state) {
        XXH128_canonical_t canonical;
        XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(state));
        return canonical;
    }
};

class OpensslHash : public MediaHash::State {
  public:
    explicit OpensslHash(const EVP_MD* method) : m_context(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
        if (m_context == nullptr || EVP_DigestInit_ex(m_context.get(), method, nullptr) != 1)
            throw std::runtime_error("a hash of libcrypto cannot be used");
    }

    void update(std::span<const std::uint8_t> bytes) override {
        if (EVP_DigestUpdate(m_context.get(), bytes.data(), bytes.size()) != 1)
            throw std::runtime_error("libcrypto does not hash");
    }
    Bytes digest() override {
        Bytes bytes(EVP_MAX_MD_SIZE);
        unsigned size = 0;
        if (EVP_DigestFinal_ex(m_context.get(), bytes.data(), &size) != 1)
            throw std::runtime_error("libcrypto does not hash");
        bytes.resize(size);
        return bytes;
    }

  private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> m_context;
};

constexpr std::string_view kBase58 = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr unsigned kBase = 58;
static_assert(kBase58.size() == kBase);
constexpr std::size_t kC4Digits = 88;
constexpr std::size_t kC4Bytes = 64;

class C4Hash final : public OpensslHash {
  public:
    C4Hash() : OpensslHash(EVP_sha512()) {}

    /// "c4" and the number in base 58.
    [[nodiscard]] std::string text() override {
        Bytes number = digest();
        std::string text(kC4Digits, kBase58[0]);
        for (std::size_t digit = kC4Digits; digit-- > 0;) {
            unsigned rest = 0;
            for (std::uint8_t& byte : number) {
                rest = rest << 8 | byte;
                byte = static_cast<std::uint8_t>(rest / kBase);
                rest %= kBase;
            }
            text[digit] = kBase58[rest];
        }
        return "c4" + text;
    }
};

[[noreturn]] void refuse(HashKind kind, const std::string& text) {
    throw std::runtime_error(fmt::format("\"{}\" is no {} hash", text, hashName(kind)));
}

Bytes c4Bytes(const std::string& text) {
    if (text.size() != 2 + kC4Digits || !text.starts_with("c4")) refuse(HashKind::c4, text);
    Bytes number(kC4Bytes);
    for (const char character : text.substr(2)) {
        const std::size_t digit = kBase58.find(character);
        if (digit == std::string_view::npos) refuse(HashKind::c4, text);
        auto carry = static_cast<unsigned>(digit);
        for (std::size_t index = kC4Bytes; index-- > 0;) {
            carry += number[index] * kBase;
            number[index] = static_cast<std::uint8_t>(carry);
            carry >>= 8;
        }
        if (carry != 0) refuse(HashKind::c4, text);
    }
    return number;
}

std::unique_ptr<MediaHash::State> makeState(HashKind kind) {
    switch (kind) {
    case HashKind::c4:
        return std::make_unique<C4Hash>();
    case HashKind::md5:
        return std::make_unique<OpensslHash>(EVP_md5());
    case HashKind::sha1:
        return std::make_unique<OpensslHash>(EVP_sha1());
    case HashKind::xxh128:
        return std::make_unique<XxHash<Xxh128>>();
    case HashKind::xxh3:
        return std::make_unique<XxHash<Xxh3>>();
    case HashKind::xxh64:
        break;
    }
    return std::make_unique<XxHash<Xxh64>>();
}

} // namespace

const ChoiceWords<HashKind>& hashKinds() {
    static const ChoiceWords<HashKind> kinds{{"c4", HashKind::c4},     {"md5", HashKind::md5},
                                             {"sha1", HashKind::sha1}, {"xxh128", HashKind::xxh128},
                                             {"xxh3", HashKind::xxh3}, {"xxh64", HashKind::xxh64}};
    return kinds;
}

const std::string& hashName(HashKind kind) {
    return wordOf(hashKinds(), kind);
}

MediaHash::MediaHash(HashKind kind) : m_state(makeState(kind)) {}
MediaHash::~MediaHash() = default;
MediaHash::MediaHash(MediaHash&&) noexcept = default;

void MediaHash::update(std::span<const std::uint8_t> bytes) {
    m_state->update(bytes);
}

std::string MediaHash::text() {
    return m_state->text();
}

std::vector<std::uint8_t> hashBytes(HashKind kind, const std::string& text) {
    if (kind == HashKind::c4) return c4Bytes(text);
    Bytes bytes(text.size() / 2);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const char* const digits = text.data() + 2 * index;
        const auto [end, error] = std::from_chars(digits, digits + 2, bytes[index], 16);
        if (error != std::errc{} || end != digits + 2) refuse(kind, text);
    }
    if (text.empty() || text.size() % 2 != 0) refuse(kind, text);
    return bytes;
}

std::map<HashKind, std::string> fileHashes(const std::string& path, const std::vector<HashKind>& kinds) {
    constexpr std::size_t kPiece = std::size_t{256} << 10U;
    InputFile file(path);
    std::map<HashKind, MediaHash> hashes;
    for (const HashKind kind : kinds)
        hashes.try_emplace(kind, kind);
    std::vector<std::uint8_t> piece(kPiece);
    for (auto read = file.read(piece); !read.empty(); read = file.read(piece))
        for (auto& [kind, hash] : hashes)
            hash.update(read);
    std::map<HashKind, std::string> texts;
    for (auto& [kind, hash] : hashes)
        texts.emplace(kind, hash.text());
    return texts;
}
