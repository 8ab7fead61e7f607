// Reads and changes the NAME="value" lines of a container's configuration file.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "src/common.h"

namespace {

constexpr char kConfigDirectory[] = "/etc/sysconfig/qx-scripts";
constexpr char kPrivateParameter[] = "VE_PRIVATE";
constexpr char kIdVariable[] = "$VEID";
// Characters between a name and its value, and after the value.
constexpr char kDelimiters[] = "\"\t=\n";
// Longer lines are cut, so that a file that is not a configuration cannot fill the memory.
constexpr size_t kMaxLine = size_t{1} << 20;

using File = std::unique_ptr<FILE, int (*)(FILE*)>;
using Text = std::unique_ptr<char, void (*)(void*)>;

std::string config_path(int ctid) {
    char path[PATH_MAX];
    snprintf(path, sizeof path, "%s/%d.conf", kConfigDirectory, ctid);
    get_realpath(path, sizeof path);
    return path;
}

// Reads a line with its newline; false at the end of the file.
bool read_line(FILE* file, std::string& line) {
    line.clear();
    int c = getc_unlocked(file);
    for (; c != EOF; c = getc_unlocked(file)) {
        if (line.size() < kMaxLine) {
            line += static_cast<char>(c);
        }
        if (c == '\n') {
            return true;
        }
    }
    return !line.empty();
}

// The first token after the name; empty if there is none.
std::string first_token(const char* text) {
    text += strspn(text, kDelimiters);
    return {text, strcspn(text, kDelimiters)};
}

Text read_param(int ctid, const char* name) {
    return {read_ve_config_param(ctid, name), free};
}

// If the last line has no line end, an appended line would become part of it.
bool ends_inside_line(FILE* file) {
    return fseek(file, -1, SEEK_END) == 0 && getc(file) != '\n';
}

void print_new_parameter(const char* name, const char* value) {
    QXFS_DEBUG(common::kLevelDetails, "new parameter: %s=\"%s\"\n", name, value);
}

}  // namespace

char* read_ve_config_param(int ctid, const char* name) {
    const std::string path = config_path(ctid);
    const File file(fopen(path.c_str(), "re"), fclose);
    if (file == nullptr) {
        common::fatal(errno, "Unable to open '%s'", path.c_str());
    }
    std::string value;
    const size_t name_length = strlen(name);
    for (std::string line; read_line(file.get(), line);) {
        if (strncmp(line.c_str(), name, name_length) == 0) {
            value = first_token(line.c_str() + name_length);
        }
    }
    if (value.empty()) {
        QXFS_DEBUG(common::kLevelDetails, "Unable to load %s from '%s'\n", name, path.c_str());
        return nullptr;
    }
    QXFS_DEBUG(common::kLevelDetails, "%s=\"%s\" from %s\n", name, value.c_str(), path.c_str());
    return xstrdup(value.c_str());
}

int add_ve_config_param(int ctid, const char* name, const char* value) {
    const std::string path = config_path(ctid);
    FILE* file = fopen(path.c_str(), "a+e");
    if (file == nullptr) {
        common::fatal(errno, "Unable to open %s.\n", path.c_str());
    }
    const char* line_end = ends_inside_line(file) ? "\n" : "";
    // A stream must be positioned between reading and writing; for appending the position is
    // ignored.
    fseek(file, 0, SEEK_END);
    const bool written = fprintf(file, "%s%s=\"%s\"\n", line_end, name, value) >= 0;
    if (fclose(file) != 0 || !written) {
        common::fatal(errno, "Error during write to file '%s'\n", path.c_str());
    }
    return 0;
}

int correct_ve_config_param(int ctid, const char* name, const char* value) {
    const std::string path = config_path(ctid);
    const std::string command =
        std::string("sed -i 's#\\(^") + name + "=\\).*#\\1\"" + value + "\"#g' " + path;
    QXFS_DEBUG(common::kLevelDetails, "execute: %s \n", command.c_str());
    errno = 0;
    if (system(command.c_str()) != 0) {  // NOLINT(bugprone-command-processor,cert-env33-c)
        common::fatal(errno, "Warning: Some error occur during correction config %s \n",
                      path.c_str());
    }
    return 0;
}

int save_ve_config_param(int ctid, const char* name, const char* value) {
    const Text current = read_param(ctid, name);
    if (current == nullptr) {
        print_new_parameter(name, value);
        return add_ve_config_param(ctid, name, value);
    }
    if (strcmp(current.get(), value) == 0) {
        return 0;
    }
    print_new_parameter(name, value);
    return correct_ve_config_param(ctid, name, value);
}

int update_ve_config(int ctid, const char* name, const char* item) {
    const Text current = read_param(ctid, name);
    if (current == nullptr) {
        return add_ve_config_param(ctid, name, item);
    }
    if (strstr(current.get(), item) != nullptr) {
        return 1;
    }
    std::string list(current.get());
    list.erase(list.find_last_not_of(' ') + 1);
    return correct_ve_config_param(ctid, name, (list + " " + item).c_str());
}

char* read_ve_private(int ctid) {
    const Text value = read_param(ctid, kPrivateParameter);
    if (value == nullptr) {
        common::fatal(0, "Can't read from %s config for CT %d.\n", config_path(ctid).c_str(), ctid);
    }
    std::string path(value.get());
    const size_t variable = path.find(kIdVariable);
    if (variable != std::string::npos) {
        path.replace(variable, strlen(kIdVariable), std::to_string(ctid));
    }
    QXFS_DEBUG(common::kLevelDetails, "private area of CT %d: '%s'\n", ctid, path.c_str());
    return xstrdup(path.c_str());
}
