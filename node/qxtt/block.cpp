// One allocation for a whole result; see block.h.
#include "node/qxtt/block.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace qxtt {

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
    // A text of C ends at its first NUL; what could follow is of no use to anybody.
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

}  // namespace qxtt
