// Command lines of the KR tool: making them, running them, and reading what it prints.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "QXL/QXLEID.h"
#include "QXL/QXLError.h"
#include "QXL/QXLPackage.h"
#include "QXL/QXLPkgMLocal.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// Words that commands are made of beyond those of makeExecArguments().
inline constexpr const char* kExecCache = "cache";      ///< the caches of OS templates
inline constexpr const char* kExecPackages = "-p";      ///< names are those of packages
inline constexpr const char* kExecOfOsTemplate = "-F";  ///< an OS template's name follows

/// The words of one command: the program, the command, "template" for the node's templates, and the
/// switches.
/// @param flags  bits of QXL::PkgOption, masked by the operation.
exec_argument_type makeExecArguments(const char* command, int flags, const QXL::QXLEID& eid);

/// A function object that joins two texts.
class join {
public:
    explicit join(std::string separator) : m_separator(std::move(separator)) {}

    std::string operator()(const std::string& joined, const std::string& next) const {
        return joined + m_separator + next;
    }

private:
    std::string m_separator;
};

/// All words, each after a blank: "' qxpkg clean' exec failed" is how agents know these messages.
std::string joinExecArguments(const exec_argument_type& arguments);

/// Takes lines and does nothing with them.
struct QXLPkgLocalExecStub {
    bool operator()(const char* /*line*/) const { return true; }
};

/// Runs command lines and hands each line of output to a handler, which must outlive it.
template <typename Handler>
class QXLPkgLocalExecHelperT {
public:
    explicit QXLPkgLocalExecHelperT(Handler& handler) : m_handler(handler) {}

    /// @return the code of QXLPkgMLocal::exec. When it is not 0, the message names the command line
    /// and the reason.
    int exec(const exec_argument_type& arguments) {
        std::vector<const char*> words;
        words.reserve(arguments.size());
        for (const auto& argument : arguments) {
            words.push_back(argument.c_str());
        }
        const int result = QXL::QXLPkgMLocal::exec(words, &execEntryPoint, this);
        if (result != 0) {
            QXL::setErrorMessage("'%s' exec failed - %s", joinExecArguments(arguments).c_str(),
                                 QXL::getErrorMessage());
        }
        return result;
    }

    /// The callback of QXLPkgMLocal::exec. What the handler answers does not stop the program.
    static bool execEntryPoint(void* context, const char* line) {
        if (context == nullptr) {
            return false;
        }
        static_cast<QXLPkgLocalExecHelperT*>(context)->m_handler(line);
        return true;
    }

private:
    Handler& m_handler;
};

/// Reads one line of output into records.
using ExecLineParser = bool (*)(QXL::QXLPackageList& out, const char* line);

/// Runs a command line. @return the code of QXLPkgMLocal::exec.
int execCommand(const exec_argument_type& arguments);

/// Runs a command line and parses its output into `out`, which is ignored when `out` is null.
int execCommand(const exec_argument_type& arguments, ExecLineParser parser,
                QXL::QXLPackageList* out);

/// Finds the next word of a text. Moves `start` to it, and `end` behind it.
/// @return false when there is none.
bool nextToken(const char*& start, const char*& end, const char* delimiters);

/// "name architecture version" gives a package record; headings, which end in ":", give none.
/// @return true.
bool parsePackageLine(QXL::QXLPackageList& out, const char* line);

/// "os template" gives an OS template, "os application" an application template. @return true.
bool parseTemplateLine(QXL::QXLPackageList& out, const char* line);

}  // namespace QXA
