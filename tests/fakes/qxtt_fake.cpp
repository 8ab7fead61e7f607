// The functions of the template tools library over what the test scripted.
#include "tests/fakes/qxtt_fake.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// Programs that link this fake are linked with --wrap=free, so that blocks are seen to come back.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void __real_free(void* block);
extern "C" void __wrap_free(void* block);
// NOLINTEND(bugprone-reserved-identifier)

namespace fakes {

namespace {

FakeQxtt* serving = nullptr;

/// What defaults fill the options with: no word that a caller would write.
constexpr std::uint32_t kDefaultWord = 0x5d5d5d5d;

FakeQxtt& required() {
    if (serving == nullptr) {
        std::fputs("the template tools library was called in a test without a FakeQxtt\n", stderr);
        std::abort();
    }
    return *serving;
}

char poisonText[] = "POISON";
char* poisonList[] = {poisonText, nullptr};

std::string textOf(const qxtt_options* options) {
    const std::uint32_t base = options->words[0];
    std::string text = base == kDefaultWord ? " [default" : base == 0 ? " [zero" : " [other";
    for (unsigned word = 0; word < QXTT_OPTIONS_SIZE / sizeof(std::uint32_t); ++word) {
        if (options->words[word] != base) {
            char part[32];
            std::snprintf(part, sizeof part, " %zu=0x%x", word * sizeof(std::uint32_t),
                          options->words[word]);
            text += part;
        }
    }
    return text + "]";
}

/// Makes the library's records; all that they point to lives in one memory.
class Maker {
public:
    char* text(const QxttText& text) {
        return text ? m_memory->texts.emplace_back(*text).data() : nullptr;
    }

    char** texts(const QxttTexts& list) {
        if (!list) {
            return nullptr;
        }
        std::vector<void*> pointers;
        pointers.reserve(list->size());
        for (const auto& line : *list) {
            pointers.push_back(text(line));
        }
        return array<char>(std::move(pointers));
    }

    pkg_info* package(const QxttPackage& package) {
        pkg_info info{};
        info.repository = poisonText;
        info.name = text(package.name);
        info.version = text(package.version);
        info.architecture = text(package.architecture);
        info.summary = text(package.summary);
        info.description = texts(package.description);
        return &m_memory->packages.emplace_back(info);
    }

    tmpl_info info(const QxttTemplate& described) {
        tmpl_info info{};
        info.name = text(described.name);
        info.os_name = text(described.osName);
        info.architecture = text(described.architecture);
        info.config_path = text(described.configPath);
        info.summary = text(described.summary);
        info.description = texts(described.description);
        info.base_packages = texts(described.basePackages);
        info.late_base_packages = texts(described.lateBasePackages);
        info.packages = texts(described.packages);
        info.technologies = texts(described.technologies);
        info.cached = text(described.cached);
        return info;
    }

    templateListEntry* entry(const QxttTemplate& described) {
        templateListEntry entry{};
        entry.reserved = poisonText;
        entry.is_os = described.isOs ? 1 : 0;
        entry.info = described.hasInfo ? &m_memory->templates.emplace_back(
                                             poisoned(info(described), TemplateReader::kListing))
                                       : nullptr;
        return &m_memory->entries.emplace_back(entry);
    }

    /// Ends the pointers with null.
    template <typename Element>
    Element** array(std::vector<void*> pointers) {
        pointers.push_back(nullptr);
        return reinterpret_cast<Element**>(
            m_memory->arrays.emplace_back(std::move(pointers)).data());
    }

    std::unique_ptr<QxttResultMemory> take() { return std::move(m_memory); }

private:
    std::unique_ptr<QxttResultMemory> m_memory = std::make_unique<QxttResultMemory>();
};

/// One block of the C library's memory, filled from its start.
class Block {
public:
    explicit Block(std::size_t size)
        : m_start(static_cast<char*>(std::malloc(size))), m_next(m_start) {}

    void* room(std::size_t size) {
        void* place = m_next;
        m_next += size;
        return place;
    }

    char* text(const QxttText& text) {
        if (!text) {
            return nullptr;
        }
        return static_cast<char*>(
            std::memcpy(room(text->size() + 1), text->c_str(), text->size() + 1));
    }

    template <typename Pointer>
    Pointer handOut() {
        required().handOutBlock(m_start);
        return reinterpret_cast<Pointer>(m_start);
    }

private:
    char* m_start;
    char* m_next;
};

std::size_t sizeOf(const QxttText& text) {
    return text ? text->size() + 1 : 0;
}

packageListEntry** packageBlock(const std::optional<std::vector<QxttEntry>>& packages) {
    if (!packages) {
        return nullptr;
    }
    std::size_t size = (packages->size() + 1) * sizeof(void*);
    for (const auto& package : *packages) {
        size += sizeof(packageListEntry) + sizeOf(package.name) + sizeOf(package.architecture) +
                sizeOf(package.version) + sizeOf(package.summary);
    }
    Block block(size);
    auto** pointers =
        static_cast<packageListEntry**>(block.room((packages->size() + 1) * sizeof(void*)));
    auto* entries =
        static_cast<packageListEntry*>(block.room(packages->size() * sizeof(packageListEntry)));
    for (const auto& package : *packages) {
        *entries = {block.text(package.name), block.text(package.architecture),
                    block.text(package.version), block.text(package.summary)};
        *pointers++ = entries++;
    }
    *pointers = nullptr;
    return block.handOut<packageListEntry**>();
}

char** namesBlock(const QxttTexts& names) {
    if (!names) {
        return nullptr;
    }
    std::size_t size = (names->size() + 1) * sizeof(char*);
    for (const auto& name : *names) {
        size += sizeOf(name);
    }
    Block block(size);
    auto** pointers = static_cast<char**>(block.room((names->size() + 1) * sizeof(char*)));
    for (const auto& name : *names) {
        *pointers++ = block.text(name);
    }
    *pointers = nullptr;
    return block.handOut<char**>();
}

/// Answers a query; one that fails leaves a pointer that nobody may follow.
template <typename Result, typename Make>
int answerWith(const std::string& function, Result* out, const Make& make) {
    const int code = required().answer(function);
    if (code == 0) {
        *out = make();
    } else {
        std::memset(out, 0x5a, sizeof *out);
    }
    return code;
}

templateListEntry** templateEntries(const std::vector<QxttTemplate>& templates) {
    Maker maker;
    std::vector<void*> pointers;
    pointers.reserve(templates.size());
    for (const auto& described : templates) {
        pointers.push_back(maker.entry(described));
    }
    auto** array = maker.array<templateListEntry>(std::move(pointers));
    required().keep(array, maker.take());
    return array;
}

int templateAnswer(const std::string& function, const char* name, const qxtt_options* options,
                   tmpl_info* out) {
    const auto mask = options->words[QXTT_OPTION_MASK_OFFSET / sizeof(std::uint32_t)];
    const auto reader = mask == QXTT_MASK_PACKAGE_LISTS ? TemplateReader::kPackageLists
                                                        : TemplateReader::kDescription;
    return answerWith(function, out, [&] {
        Maker maker;
        const auto info = maker.info(required().templates[name]);
        required().keep(out, maker.take());
        return poisoned(info, reader);
    });
}

}  // namespace

char* poison() {
    return poisonText;
}

tmpl_info poisoned(const tmpl_info& record, TemplateReader reader) {
    tmpl_info made{poisonText, poisonText, poisonText, poisonText, poisonText,
                   poisonText, poisonList, poisonList, poisonList, poisonList,
                   {},         poisonList, {},         poisonText};
    for (auto& field : made.reserved10) {
        field = poisonText;
    }
    for (auto& field : made.reserved16) {
        field = poisonText;
    }
    const auto keep = [&](auto... fields) { ((made.*fields = record.*fields), ...); };
    switch (reader) {
        case TemplateReader::kDescription:
            keep(&tmpl_info::name, &tmpl_info::os_name, &tmpl_info::architecture,
                 &tmpl_info::config_path, &tmpl_info::summary, &tmpl_info::description,
                 &tmpl_info::technologies, &tmpl_info::cached);
            break;
        case TemplateReader::kListing:
            keep(&tmpl_info::name, &tmpl_info::architecture, &tmpl_info::summary,
                 &tmpl_info::cached);
            break;
        case TemplateReader::kPackageLists:
            keep(&tmpl_info::base_packages, &tmpl_info::late_base_packages, &tmpl_info::packages);
            break;
    }
    return made;
}

FakeQxtt::FakeQxtt() {
    serving = this;
}

FakeQxtt::~FakeQxtt() {
    serving = nullptr;
}

FakeQxtt* FakeQxtt::current() {
    return serving;
}

std::vector<std::string> FakeQxtt::callsOf(const std::string& start) const {
    std::vector<std::string> found;
    for (const auto& call : calls) {
        if (call.starts_with(start)) {
            found.push_back(call);
        }
    }
    return found;
}

int FakeQxtt::answer(const std::string& function) {
    auto& queue = codes[function];
    if (queue.empty()) {
        return 0;
    }
    const int code = queue.front();
    queue.pop_front();
    return code;
}

void FakeQxtt::keep(const void* key, std::unique_ptr<QxttResultMemory> memory) {
    ++handedOut;
    m_live[key] = std::move(memory);
}

void FakeQxtt::clean(const std::string& function, const void* key) {
    calls.push_back(function);
    if (key == nullptr) {
        return;
    }
    if (m_live.erase(key) == 0) {
        faults.push_back(function + " of what was not handed out");
        return;
    }
    ++released;
}

void FakeQxtt::handOutBlock(void* block) {
    ++handedOut;
    m_blocks.insert(block);
}

void FakeQxtt::freed(void* block) {
    if (m_blocks.erase(block) != 0) {
        ++released;
    } else if (m_live.contains(block)) {
        faults.emplace_back("free of what has a function of its own");
    }
}

}  // namespace fakes

using fakes::required;

// NOLINTNEXTLINE(bugprone-reserved-identifier)
void __wrap_free(void* block) {
    if (block != nullptr && fakes::FakeQxtt::current() != nullptr) {
        fakes::FakeQxtt::current()->freed(block);
    }
    __real_free(block);
}

void qxtt_set_default_options(qxtt_options* options) {
    required().calls.emplace_back("qxtt_set_default_options");
    for (auto& word : options->words) {
        word = fakes::kDefaultWord;
    }
}

int qxtt_get_pkg_info(const char* os, const char* name, const qxtt_options* options,
                      pkg_info*** out) {
    auto& fake = required();
    fake.calls.push_back(std::string("qxtt_get_pkg_info ") + os + " " + name +
                         fakes::textOf(options));
    return fakes::answerWith("qxtt_get_pkg_info", out, [&]() -> pkg_info** {
        if (!fake.packageInfos) {
            return nullptr;
        }
        fakes::Maker maker;
        std::vector<void*> pointers;
        for (const auto& package : *fake.packageInfos) {
            pointers.push_back(maker.package(package));
        }
        auto** array = maker.array<pkg_info>(std::move(pointers));
        fake.keep(array, maker.take());
        return array;
    });
}

void qxtt_clean_pkg_info(pkg_info*** out) {
    required().clean("qxtt_clean_pkg_info", *out);
    *out = nullptr;
}

int qxtt_get_os_tmpl_info(const char* name, const qxtt_options* options, tmpl_info* info) {
    required().calls.push_back(std::string("qxtt_get_os_tmpl_info ") + name +
                               fakes::textOf(options));
    return fakes::templateAnswer("qxtt_get_os_tmpl_info", name, options, info);
}

int qxtt_get_app_tmpl_info(const char* os_or_veid, const char* name, const qxtt_options* options,
                           tmpl_info* info) {
    required().calls.push_back(std::string("qxtt_get_app_tmpl_info ") + os_or_veid + " " + name +
                               fakes::textOf(options));
    return fakes::templateAnswer("qxtt_get_app_tmpl_info", name, options, info);
}

void qxtt_clean_tmpl_info(tmpl_info* info) {
    required().clean("qxtt_clean_tmpl_info", info);
    std::memset(info, 0, sizeof *info);
}

int qxtt_get_all_base(char*** names) {
    required().calls.emplace_back("qxtt_get_all_base");
    return fakes::answerWith("qxtt_get_all_base", names,
                             [] { return fakes::namesBlock(required().osTemplates); });
}

int qxtt_get_templates_list(const char* os, const qxtt_options* options, templateListEntry*** out) {
    auto& fake = required();
    fake.calls.push_back(std::string("qxtt_get_templates_list ") + os + fakes::textOf(options));
    return fakes::answerWith("qxtt_get_templates_list", out, [&]() -> templateListEntry** {
        const auto found = fake.templateLists.find(os);
        return found == fake.templateLists.end() ? nullptr : fakes::templateEntries(found->second);
    });
}

int qxtt_get_ve_templates_list(int veid, const qxtt_options* options, templateListEntry*** out) {
    auto& fake = required();
    fake.calls.push_back("qxtt_get_ve_templates_list " + std::to_string(veid) +
                         fakes::textOf(options));
    return fakes::answerWith("qxtt_get_ve_templates_list", out, [&]() -> templateListEntry** {
        return fake.veTemplates ? fakes::templateEntries(*fake.veTemplates) : nullptr;
    });
}

void qxtt_clean_templates_list(templateListEntry*** out) {
    required().clean("qxtt_clean_templates_list", *out);
    *out = nullptr;
}

int qxtt_get_template_pkgs(const char* os, const qxtt_options* options, packageListEntry*** out) {
    required().calls.push_back(std::string("qxtt_get_template_pkgs ") + os +
                               fakes::textOf(options));
    return fakes::answerWith("qxtt_get_template_pkgs", out,
                             [] { return fakes::packageBlock(required().templatePackages); });
}

int qxtt_get_ve_pkgs(int veid, const qxtt_options* options, packageListEntry*** out) {
    required().calls.push_back("qxtt_get_ve_pkgs " + std::to_string(veid) + fakes::textOf(options));
    return fakes::answerWith("qxtt_get_ve_pkgs", out,
                             [] { return fakes::packageBlock(required().vePackages); });
}

int qxtt_get_ve_ostemplate(int veid, char** name, const qxtt_options* options) {
    required().calls.push_back("qxtt_get_ve_ostemplate " + std::to_string(veid) +
                               fakes::textOf(options));
    return fakes::answerWith("qxtt_get_ve_ostemplate", name, []() -> char* {
        const auto& text = required().veOsTemplate;
        if (!text) {
            return nullptr;
        }
        fakes::Block block(text->size() + 1);
        block.text(text);
        return block.handOut<char*>();
    });
}

int qxtt_get_ve_status(int veid, const qxtt_options* options) {
    required().calls.push_back("qxtt_get_ve_status " + std::to_string(veid) +
                               fakes::textOf(options));
    return required().veStatus;
}
