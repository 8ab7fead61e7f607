// Turns manifests and packages into records of the C interface; see records.h.
#include "node/qxtt/records.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "node/kr/packaging.h"

namespace qxtt {

namespace {

using qxnode::KrManifest;

/// Every record of the interface consists of pointer-sized words. So a result is a sequence of
/// words, followed by the texts that they point to.
class Block {
public:
    /// Index of a word.
    using Place = std::size_t;

    /// Appends words that are 0 until they are set. @return the first of them.
    Place words(std::size_t count);

    void setValue(Place word, std::uintptr_t value);
    void setText(Place word, const std::string& text);
    /// Makes the word point to another.
    void setPointer(Place word, Place target);
    /// Makes the word point to an array of texts that ends with a null pointer.
    void setTexts(Place word, const std::vector<std::string>& texts);

    /// All of it in one block for free(), which begins with the first word.
    /// @throws std::bad_alloc
    [[nodiscard]] void* make() const;

private:
    struct Word {
        enum class Kind { value, text, word } kind = Kind::value;
        std::uintptr_t value = 0;
    };

    std::vector<Word> m_words;
    std::string m_texts;
};

Block::Place Block::words(std::size_t count) {
    const Place first = m_words.size();
    m_words.resize(first + count);
    return first;
}

void Block::setValue(Place word, std::uintptr_t value) {
    m_words[word] = {Word::Kind::value, value};
}

void Block::setText(Place word, const std::string& text) {
    m_words[word] = {Word::Kind::text, m_texts.size()};
    // A C text ends at its first NUL, so the rest of the text is left out.
    m_texts += text.c_str();
    m_texts += '\0';
}

void Block::setPointer(Place word, Place target) {
    m_words[word] = {Word::Kind::word, target};
}

void Block::setTexts(Place word, const std::vector<std::string>& texts) {
    const Place array = words(texts.size() + 1);
    setPointer(word, array);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        setText(array + i, texts[i]);
    }
}

void* Block::make() const {
    const std::size_t words = m_words.size() * sizeof(void*);
    char* base = static_cast<char*>(std::malloc(words + m_texts.size() + 1));
    if (base == nullptr) {
        throw std::bad_alloc();
    }
    char* texts = base + words;
    std::memcpy(texts, m_texts.data(), m_texts.size());
    for (std::size_t i = 0; i < m_words.size(); ++i) {
        const Word& word = m_words[i];
        const void* pointer =
            word.kind == Word::Kind::text ? texts + word.value : base + word.value * sizeof(void*);
        const std::uintptr_t value =
            word.kind == Word::Kind::value ? word.value : reinterpret_cast<std::uintptr_t>(pointer);
        std::memcpy(base + i * sizeof(void*), &value, sizeof(value));
    }
    return base;
}

using Place = Block::Place;

constexpr std::size_t kWord = sizeof(void*);
constexpr std::size_t kTemplateWords = sizeof(tmpl_info) / kWord;
constexpr std::size_t kTemplateEntryWords = sizeof(templateListEntry) / kWord;
constexpr std::size_t kPackageWords = sizeof(pkg_info) / kWord;
constexpr std::size_t kPackageEntryWords = sizeof(packageListEntry) / kWord;

/// This reserved field of a caller's record points to the block that the record owns.
constexpr std::size_t kOwner = offsetof(tmpl_info, reserved10);

/// Sets the fields of one record that the mask selects and that are known.
class RecordWriter {
public:
    RecordWriter(Block& block, Place record, std::uint32_t mask)
        : m_block(block), m_record(record), m_mask(mask) {}

    void text(std::size_t offset, const std::string& value, std::uint32_t bit) {
        if (selects(bit) && !value.empty()) {
            m_block.setText(m_record + offset / kWord, value);
        }
    }

    /// An empty list stays null.
    void lines(std::size_t offset, const std::vector<std::string>& values, std::uint32_t bit) {
        if (!values.empty()) {
            list(offset, values, bit);
        }
    }

    /// An empty list becomes an empty array, not null.
    void list(std::size_t offset, const std::vector<std::string>& values, std::uint32_t bit) {
        if (selects(bit)) {
            m_block.setTexts(m_record + offset / kWord, values);
        }
    }

private:
    [[nodiscard]] bool selects(std::uint32_t bit) const { return bit == 0 || (m_mask & bit) != 0; }

    Block& m_block;
    Place m_record;
    std::uint32_t m_mask;
};

/// Fields that are set with every mask.
constexpr std::uint32_t kAlways = 0;

std::string metadataFolder(const KrManifest& manifest) {
    return manifest.isOsTemplate
               ? qxnode::krOsFolder(manifest.name)
               : qxnode::krOsFolder(manifest.osName) + "/" + qxnode::kKrApplicationDir;
}

void writeTemplate(Block& block, Place record, const KrManifest& manifest, std::uint32_t mask) {
    RecordWriter out(block, record, mask);
    out.text(offsetof(tmpl_info, name), manifest.name, kAlways);
    out.text(offsetof(tmpl_info, os_name), manifest.osName, QXTT_MASK_OS_NAME_BIT);
    out.text(offsetof(tmpl_info, packaging),
             manifest.packaging != nullptr ? std::string(manifest.packaging->name) : "",
             QXTT_MASK_PACKAGING_BIT);
    out.text(offsetof(tmpl_info, architecture), manifest.architecture, QXTT_MASK_ARCHITECTURE_BIT);
    out.text(offsetof(tmpl_info, config_path), metadataFolder(manifest), QXTT_MASK_CONFIG_PATH_BIT);
    out.text(offsetof(tmpl_info, summary), manifest.summary, QXTT_MASK_SUMMARY_BIT);
    out.lines(offsetof(tmpl_info, description), manifest.description, QXTT_MASK_DESCRIPTION_BIT);
    out.list(offsetof(tmpl_info, base_packages), manifest.basePackages,
             QXTT_MASK_BASE_PACKAGES_BIT);
    out.list(offsetof(tmpl_info, late_base_packages), manifest.lateBasePackages,
             QXTT_MASK_LATE_BASE_PACKAGES_BIT);
    out.list(offsetof(tmpl_info, packages), manifest.packages, QXTT_MASK_PACKAGES_BIT);
    out.list(offsetof(tmpl_info, technologies), manifest.technologies, QXTT_MASK_TECHNOLOGIES_BIT);
    out.text(offsetof(tmpl_info, cached), manifest.cached ? "yes" : "", QXTT_MASK_CACHED_BIT);
}

}  // namespace

void fillTemplate(tmpl_info& info, const KrManifest& manifest, std::uint32_t mask) {
    Block block;
    const Place record = block.words(kTemplateWords);
    writeTemplate(block, record, manifest, mask);
    block.setPointer(record + kOwner / kWord, record);
    std::memcpy(&info, block.make(), sizeof(info));
}

void releaseTemplate(tmpl_info& info) {
    std::free(info.reserved10[0]);
    info = {};
}

void* templateEntries(const std::vector<KrManifest>& templates, std::uint32_t mask) {
    Block block;
    const Place array = block.words(templates.size() + 1);
    for (std::size_t i = 0; i < templates.size(); ++i) {
        const Place entry = block.words(kTemplateEntryWords);
        const Place record = block.words(kTemplateWords);
        block.setPointer(array + i, entry);
        block.setValue(entry + offsetof(templateListEntry, is_os) / kWord,
                       templates[i].isOsTemplate ? 1 : 0);
        block.setPointer(entry + offsetof(templateListEntry, info) / kWord, record);
        writeTemplate(block, record, templates[i], mask);
    }
    return block.make();
}

void* packageEntries(const std::vector<Package>& packages, std::uint32_t mask) {
    Block block;
    const Place array = block.words(packages.size() + 1);
    for (std::size_t i = 0; i < packages.size(); ++i) {
        const Package& package = packages[i];
        const Place entry = block.words(kPackageEntryWords);
        block.setPointer(array + i, entry);
        RecordWriter out(block, entry, mask);
        out.text(offsetof(packageListEntry, name), package.name, kAlways);
        out.text(offsetof(packageListEntry, architecture), package.architecture, kAlways);
        out.text(offsetof(packageListEntry, version), package.version, kAlways);
        out.text(offsetof(packageListEntry, summary), package.summary, QXTT_MASK_SUMMARY_BIT);
    }
    return block.make();
}

void* packageRecords(const std::vector<Package>& packages, std::uint32_t mask) {
    Block block;
    const Place array = block.words(packages.size() + 1);
    for (std::size_t i = 0; i < packages.size(); ++i) {
        const Package& package = packages[i];
        const Place record = block.words(kPackageWords);
        block.setPointer(array + i, record);
        RecordWriter out(block, record, mask);
        out.text(offsetof(pkg_info, name), package.name, kAlways);
        out.text(offsetof(pkg_info, version), package.version, QXTT_MASK_VERSION_BIT);
        out.text(offsetof(pkg_info, repository), package.origin, QXTT_MASK_REPOSITORY_BIT);
        out.text(offsetof(pkg_info, architecture), package.architecture,
                 QXTT_MASK_ARCHITECTURE_BIT);
        out.text(offsetof(pkg_info, summary), package.summary, QXTT_MASK_SUMMARY_BIT);
        out.lines(offsetof(pkg_info, description), package.description, QXTT_MASK_DESCRIPTION_BIT);
    }
    return block.make();
}

void* textArray(const std::vector<std::string>& texts) {
    Block block;
    const Place array = block.words(texts.size() + 1);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        block.setText(array + i, texts[i]);
    }
    return block.make();
}

char* textAlone(const std::string& text) {
    char* copy = strdup(text.c_str());
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

}  // namespace qxtt
