// The manual page: the texts of the command line's help, and what has no place there.
#include "help.hpp"
#include "http.hpp"

namespace hnap {

const char* const kExitStatuses =
    "Exit statuses: 0 done, 1 the device said no (its words are on standard error),\n"
    "2 wrong usage (nothing was changed), 3 no device or no readable answer,\n"
    "4 user or password refused.";

namespace {

constexpr const char* kConfiguration = R"(.SH CONFIGURATION
What is said in several places counts in this order: command line, environment, configuration file, netrc.
.PP
The configuration file is
.IR ~/.config/hnap/config ,
lines of key = value:
.PP
.RS
.nf
# comment
host = 192.168.1.2
user = admin
password = secret
timeout = 30
.fi
.RE
.PP
Instead of a password,
.B password_file
may name a file whose first line it is.
The password is sent to that host only.
A file with a password must belong to you and be readable by nobody else, or it is refused; so it is with
.IR ~/.netrc .
Where no password is found and the device wants one, it is asked for on the terminal.
.SH ENVIRONMENT
.TP
.BR HNAP_HOST ", " HNAP_USER ", " HNAP_PASSWORD ", " HNAP_TIMEOUT
As the options of these names.
.TP
.B NO_COLOR
No colours, whatever its value is.
.TP
.BR NETRC ", " XDG_CONFIG_HOME
Where these files are, if they are elsewhere.
)";

constexpr const char* kExamples = R"(.SH NOTES
Every text of a device is shown with control characters made visible, as \ex1B.
Options after
.B \-\-
are none:
.B hnap join \-\- \-name
joins a network whose name begins with a hyphen.
.SH EXAMPLES
.nf
hnap discover 192.168.1.0/24
export HNAP_HOST=192.168.1.2
hnap networks
hnap join "Home Network"
hnap networks --json | jq -r '.[0].ssid'
hnap call SetDeviceSettings DeviceName=Attic AdminPassword=secret
.fi
)";

std::string escaped(const std::string& text) {
  std::string result;
  for (const char character : text) {
    if (character == '\\')
      result += "\\e";
    else if (character == '-')
      result += "\\-";
    else
      result += character;
  }
  return !result.empty() && (result[0] == '.' || result[0] == '\'') ? "\\&" + result : result;
}

std::string words_of(const OptionHelp& option) {
  if (option.names.empty()) return "\\fI" + escaped(option.type) + "\\fR" + (option.many ? "..." : "");
  std::string names;
  for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + name;
  return "\\fB" + escaped(names) + "\\fR" +
         (option.type.empty() ? "" : " \\fI" + escaped(option.type) + "\\fR");
}

bool is_help(const OptionHelp& option) {
  return !option.names.empty() && option.names[0] == "--help";
}

std::string paragraph(const std::string& head, const std::string& text) {
  return ".TP\n" + head + "\n" + escaped(text) + ".\n";
}

std::string section_of(const CommandHelp& command, const std::string& path) {
  const std::string name = path + " " + command.name;
  std::string text;
  for (const CommandHelp& inner : command.commands) text += section_of(inner, name);
  if (!text.empty()) return text;
  std::string head = "\\fB" + escaped(name) + "\\fR";
  std::string details;
  for (const OptionHelp& option : command.options) {
    if (is_help(option)) continue;
    head += option.required ? " " + words_of(option) : " [" + words_of(option) + "]";
    details += paragraph(words_of(option), option.description);
  }
  return paragraph(head, command.description) + (details.empty() ? "" : ".RS\n" + details + ".RE\n");
}

}  // namespace

std::string manual_of(const CommandHelp& program) {
  std::string text = std::string(".TH HNAP 1 \"\" \"hnap ") + version() + "\"\n";
  text += ".SH NAME\nhnap \\- find, read and set up a Wi\\-Fi device over HNAP\n";
  text += ".SH SYNOPSIS\n.B hnap\n[\\fIoptions\\fR] \\fIcommand\\fR [\\fIarguments\\fR]\n";
  text += ".SH DESCRIPTION\n" + escaped(program.description) + ".\n";
  text += "Any device that speaks HNAP with Basic credentials will do.\n.SH COMMANDS\n";
  for (const CommandHelp& command : program.commands) text += section_of(command, "hnap");
  text += ".SH OPTIONS\nThey may stand anywhere.\n";
  for (const OptionHelp& option : program.options) text += paragraph(words_of(option), option.description);
  text += kConfiguration;
  text += std::string(".SH EXIT STATUS\n") + escaped(std::string(kExitStatuses).substr(15)) + "\n";
  return text + kExamples;
}

}  // namespace hnap
