// Command lines of the KR tool: make them, run them, and read their output.
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

/// Words of commands that makeExecArguments() does not add.
inline constexpr const char* kExecCache = "cache";      ///< the caches of OS templates
inline constexpr const char* kExecPackages = "-p";      ///< the names are those of packages
inline constexpr const char* kExecOfOsTemplate = "-F";  ///< the first name is an OS template's

/// The beginning of a command line: the program, the command, "template" if the EID is EID_LOCAL
/// (the node's templates), and the options.
/// @param flags  bits of QXL::PkgOption that the command accepts.
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

/// All words, each after a blank. Agents expect the first blank, as in "' qxpkg clean' exec
/// failed".
std::string joinExecArguments(const exec_argument_type& arguments);

/// Ignores the lines that it gets.
struct QXLPkgLocalExecStub {
    bool operator()(const char* /*line*/) const { return true; }
};

/// Runs command lines and passes each line of output to a handler, which must outlive this object.
template <typename Handler>
class QXLPkgLocalExecHelperT {
public:
    explicit QXLPkgLocalExecHelperT(Handler& handler) : m_handler(handler) {}

    /// @return the code of QXLPkgMLocal::exec. If it is not 0, the message has the command line and
    /// the reason.
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

    /// The callback of QXLPkgMLocal::exec. The handler's result does not stop the program.
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

/// Appends the records of one line of output. @return not used.
using ExecLineParser = bool (*)(QXL::QXLPackageList& out, const char* line);

/// Runs a command line. @return the code of QXLPkgMLocal::exec.
int execCommand(const exec_argument_type& arguments);

/// Runs a command line and parses its output into `out`; if `out` is null, the output is ignored.
int execCommand(const exec_argument_type& arguments, ExecLineParser parser,
                QXL::QXLPackageList* out);

/// Finds the next word of a text. Moves `start` to its first character and `end` behind its last.
/// @return false if there is no word.
bool nextToken(const char*& start, const char*& end, const char* delimiters);

/// "name architecture version" gives a package record; headings, which end in ":", give none.
/// @return true.
bool parsePackageLine(QXL::QXLPackageList& out, const char* line);

/// "os template" gives an OS template, "os application" an application template. @return true.
bool parseTemplateLine(QXL::QXLPackageList& out, const char* line);

}  // namespace QXA
