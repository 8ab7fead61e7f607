// Asks the operator questions that are answered with one letter.
#include <cctype>
#include <cstddef>
#include <cstdio>

#include "src/qxfsutil.h"

namespace {

struct Choice {
    char letter;  // in lower case; taken in upper case too
    int answer;
    const char* hint;  // shown when this is the default
};

template <size_t N>
const Choice* find_answer(const Choice (&choices)[N], int answer) {
    for (const Choice& choice : choices) {
        if (choice.answer == answer) {
            return &choice;
        }
    }
    return nullptr;
}

// Reads a choice up to the next blank or line end; the rest is left for the next question.
template <size_t N>
int read_answer(const Choice (&choices)[N], int answer) {
    for (int c = getchar(); c != EOF; c = getchar()) {
        if ((c == ' ' || c == '\n') && answer != QXFS_ANSWER_NONE) {
            break;
        }
        for (const Choice& choice : choices) {
            if (tolower(c) == choice.letter) {
                answer = choice.answer;
            }
        }
    }
    return answer;
}

template <size_t N>
int ask(const char* question, const char* letters, const Choice (&choices)[N],
        const char* no_default_hint, int default_answer) {
    const Choice* chosen = find_answer(choices, default_answer);
    printf("%s(%s)%s? ", question, letters, chosen != nullptr ? chosen->hint : no_default_hint);
    fflush(stdout);
    return read_answer(choices, chosen != nullptr ? chosen->answer : QXFS_ANSWER_NONE);
}

}  // namespace

int ask_proc(const char* question, int default_answer) {
    static constexpr Choice kChoices[] = {{'i', QXFS_ANSWER_IGNORE, "<i>"},
                                          {'m', QXFS_ANSWER_MOVE, "<m>"},
                                          {'r', QXFS_ANSWER_REMOVE, "<r>"}};
    return ask(question, "'I'gnore/'M'ove/'R'emove", kChoices, "<i/m/r>", default_answer);
}

int ask_approve(const char* question, int default_answer) {
    static constexpr Choice kChoices[] = {{'y', QXFS_ANSWER_YES, "<y>"},
                                          {'n', QXFS_ANSWER_NO, "<n>"}};
    return ask(question, "'Y'/'N'", kChoices, "<y/n>", default_answer);
}
