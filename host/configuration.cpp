#include "host/configuration.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr std::int64_t kProcessStore = -1;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::optional<std::uint32_t> parseNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (error != std::errc{} || last != end) return std::nullopt;
    return value;
}

/// True for a name that survives being written and read again.
bool isStorable(std::string_view name, std::string_view reserved) {
    return !name.empty() && trimmed(name) == name && name.find_first_of(reserved) == std::string_view::npos;
}

/// An INI text, kept line by line so that comments and entries of other kinds stay when a value changes.
class IniText {
  public:
    [[nodiscard]] static IniText read(std::istream& in) {
        IniText text;
        for (std::string line; std::getline(in, line);)
            text.m_lines.push_back(std::move(line));
        return text;
    }

    void write(std::ostream& out) const {
        for (const std::string& line : m_lines)
            out << line << '\n';
    }

    [[nodiscard]] std::optional<std::uint32_t> value(std::string_view section, std::string_view key) const {
        const Place place = find(section, key);
        if (!place.entry) return std::nullopt;
        const std::string_view line = m_lines[*place.entry];
        return parseNumber(trimmed(line.substr(line.find('=') + 1)));
    }

    void setValue(std::string_view section, std::string_view key, std::uint32_t value) {
        std::string entry = std::string(key) + "=" + std::to_string(value);
        const Place place = find(section, key);
        if (place.entry) {
            m_lines[*place.entry] = std::move(entry);
        } else if (place.sectionEnd) {
            m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(*place.sectionEnd),
                           std::move(entry));
        } else {
            m_lines.push_back("[" + std::string(section) + "]");
            m_lines.push_back(std::move(entry));
        }
    }

  private:
    struct Place {
        std::optional<std::size_t> entry;      // the key's line
        std::optional<std::size_t> sectionEnd; // the line after the section's last filled one
    };

    [[nodiscard]] Place find(std::string_view section, std::string_view key) const {
        Place place;
        bool inside = false;
        for (std::size_t number = 0; number < m_lines.size(); ++number) {
            const std::string_view line = trimmed(m_lines[number]);
            if (line.starts_with('[') && line.ends_with(']'))
                inside = line.substr(1, line.size() - 2) == section;
            if (!inside || line.empty()) continue;
            place.sectionEnd = number + 1;
            if (line.starts_with(';') || line.starts_with('#')) continue;
            const std::size_t equals = line.find('=');
            if (equals != std::string_view::npos && trimmed(line.substr(0, equals)) == key)
                place.entry = number;
        }
        return place;
    }

    std::vector<std::string> m_lines;
};

/// The process's store and the file behind it, if any.
class Store {
  public:
    Store() {
        const char* const path = std::getenv("KRW_HOST_CONFIG");
        if (path == nullptr) return;
        m_path = path;
        std::error_code error;
        if (!std::filesystem::exists(m_path, error)) return;
        // A file that cannot be read is not overwritten either.
        std::ifstream in;
        if (std::filesystem::is_regular_file(m_path, error)) in.open(m_path);
        m_text = IniText::read(in);
        m_writable = in.eof() && !in.bad();
    }

    [[nodiscard]] std::optional<std::uint32_t> value(std::string_view section, std::string_view key) {
        const std::scoped_lock lock(m_mutex);
        return m_text.value(section, key);
    }

    [[nodiscard]] bool setValue(std::string_view section, std::string_view key, std::uint32_t value) {
        if (!isStorable(section, "]\n") || !isStorable(key, "=[;#\n")) return false;
        const std::scoped_lock lock(m_mutex);
        if (!m_writable) return false;
        IniText changed = m_text;
        changed.setValue(section, key, value);
        if (!m_path.empty() && !save(changed)) return false;
        m_text = std::move(changed);
        return true;
    }

  private:
    /// Replaces the whole file at once, so that no reader sees a half-written one.
    [[nodiscard]] bool save(const IniText& text) const {
        std::filesystem::path temporary = m_path;
        temporary += "." + std::to_string(getpid()) + ".tmp";
        std::error_code error;
        std::ofstream out(temporary);
        text.write(out);
        out.close();
        if (out) std::filesystem::rename(temporary, m_path, error);
        if (out && !error) return true;
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        return false;
    }

    std::mutex m_mutex;
    std::filesystem::path m_path;
    IniText m_text;
    bool m_writable = true;
};

Store& processStore() {
    static Store store;
    return store;
}

} // namespace

int pvCFGValueDword(std::int64_t store, const char* section, const char* key, std::uint32_t* value,
                    std::uint32_t mode) {
    constexpr int kDone = 0;
    constexpr int kFailed = -1;
    if (store != kProcessStore || section == nullptr || key == nullptr || value == nullptr) return kFailed;
    try {
        if (mode == kCfgWrite) return processStore().setValue(section, key, *value) ? kDone : kFailed;
        if (mode != kCfgRead) return kFailed;
        const auto found = processStore().value(section, key);
        if (!found) return kFailed;
        *value = *found;
        return kDone;
    } catch (...) {
        return kFailed; // no memory, or no lock
    }
}
