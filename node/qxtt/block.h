// Block: records, arrays and texts laid out for one malloc(), as the C interface hands them over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qxtt {

/// Every record of the interface consists of pointer-sized words, so a result is a run of words,
/// followed by the texts that they point to.
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

    /// The whole as one block for free(); its first word is the block's first.
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

}  // namespace qxtt
