// The man pages, written as roff from the command line and its help texts.

#include "commands/ManPage.h"

#include "commands/Help.h"

#include <algorithm>
#include <cctype>

namespace zsl::commands {

namespace {

// A command line longer than this is continued on the next line, so that
// an example indented in EXAMPLES still fits 80 columns.
constexpr size_t kExampleWidth = 64;

// Text as roff reads it literally: backslashes and minus signs escaped (a
// plain "-" may print as a hyphen that a shell does not take), and a line
// that would start with a control character guarded.
std::string escape(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else
            out += c;
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\''))
        out.insert(0, "\\&");
    return out;
}

// A description's paragraphs, each as one filled roff paragraph.
std::string paragraphs(const std::string &text)
{
    std::string out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find("\n\n", start);
        if (end == std::string::npos)
            end = text.size();
        std::string paragraph = text.substr(start, end - start);
        std::replace(paragraph.begin(), paragraph.end(), '\n', ' ');
        out += ".PP\n" + escape(paragraph) + "\n";
        start = end + 2;
    }
    return out;
}

// "--jobs" with its short name and value: \fB\-j\fR, \fB\-\-jobs\fR \fIN\fR
std::string optionHead(const CLI::Option &option)
{
    std::string out;
    for (const std::string &name : option.get_snames())
        out += (out.empty() ? "" : ", ") + std::string("\\fB") + escape("-" + name) + "\\fR";
    for (const std::string &name : option.get_lnames())
        out += (out.empty() ? "" : ", ") + std::string("\\fB") + escape("--" + name) + "\\fR";
    if (option.get_type_size() != 0 && !option.get_type_name().empty())
        out += " \\fI" + escape(option.get_type_name()) + "\\fR";
    return out;
}

std::string positionalName(const CLI::Option &option)
{
    return option.get_name(true) + (option.get_items_expected_max() > 1 ? "..." : "");
}

std::string optionsOf(CLI::App &app, bool inGroup = false)
{
    std::string out;
    for (const CLI::Option *option : app.get_options([](const CLI::Option *o) { return o->get_positional(); }))
        out += ".TP\n\\fI" + escape(positionalName(*option)) + "\\fR\n" + escape(option->get_description()) + "\n";
    for (const CLI::Option *option : app.get_options([](const CLI::Option *o) { return !o->get_positional(); })) {
        // A group repeats its parent's help flags.
        if (inGroup && (option->check_lname("help") || option->check_lname("help-all")))
            continue;
        std::string description = option->get_description();
        if (!option->get_default_str().empty())
            description += " (default: " + option->get_default_str() + ")";
        out += ".TP\n" + optionHead(*option) + "\n" + escape(description) + "\n";
    }
    // Option groups are nameless subcommands in CLI11.
    for (CLI::App *group : app.get_subcommands([](CLI::App *sub) { return sub->get_name().empty(); })) {
        out += ".SS \"" + group->get_group() + "\"\n" + escape(group->get_description()) + "\n";
        out += optionsOf(*group, true);
    }
    return out;
}

std::string synopsis(CLI::App &app, const std::string &command)
{
    std::string out = ".B " + command + "\n[\\fIOPTIONS\\fR]";
    for (const CLI::Option *option : app.get_options([](const CLI::Option *o) { return o->get_positional(); })) {
        const std::string name = "\\fI" + escape(positionalName(*option)) + "\\fR";
        out += " " + (option->get_required() ? name : "[" + name + "]");
    }
    return out + "\n";
}

// A command broken before its options where it is too long, shell-style.
std::string exampleCommand(const std::string &command)
{
    std::vector<std::string> pieces; // an option keeps its value
    size_t start = 0;
    while (start < command.size()) {
        size_t end = command.find(' ', start);
        if (end == std::string::npos)
            end = command.size();
        const std::string word = command.substr(start, end - start);
        if (!pieces.empty() && word[0] != '-' && pieces.back()[0] == '-' &&
            pieces.back().find(' ') == std::string::npos)
            pieces.back() += " " + word;
        else
            pieces.push_back(word);
        start = end + 1;
    }
    std::string out, line;
    for (const std::string &piece : pieces) {
        if (!line.empty() && line.size() + 1 + piece.size() > kExampleWidth) {
            out += escape(line) + " \\e\n";
            line = "    " + piece;
        } else {
            line += (line.empty() ? "" : " ") + piece;
        }
    }
    return out + escape(line) + "\n";
}

std::string commonSections(const Help &help)
{
    std::string out = ".SH \"EXIT STATUS\"\n";
    for (const Help::ExitStatus &exit : help.exitStatuses)
        out += ".TP\n.B " + std::to_string(exit.status) + "\n" + escape(exit.meaning) + "\n";
    out += ".SH ENVIRONMENT\n";
    if (help.environment.empty())
        out += "None is read.\n";
    for (const Help::Variable &variable : help.environment)
        out += ".TP\n.B " + variable.name + "\n" + escape(variable.meaning) + "\n";
    out += ".SH EXAMPLES\n";
    for (const Help::Example &example : help.examples) {
        std::string what = example.what.empty() ? "" : example.what;
        if (!what.empty())
            what[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(what[0])));
        out += ".PP\n" + (what.empty() ? "" : escape(what) + ":\n") + ".RS 4\n.nf\n" + exampleCommand(example.command) +
               ".fi\n.RE\n";
    }
    return out;
}

std::string header(const std::string &page, const std::string &summary)
{
    std::string title = page;
    std::transform(title.begin(), title.end(), title.begin(), [](unsigned char c) { return std::toupper(c); });
    return ".TH " + title +
           " 1 \"\" \"zsl-replay " ZSL_VERSION "\" \"User Commands\"\n"
           // Left-aligned, unhyphenated: option names and paths stay whole.
           ".nh\n.ad l\n.SH NAME\n" +
           escape(page) + " \\- " + escape(summary) + "\n";
}

std::string seeAlso(const std::string &self)
{
    std::vector<std::string> pages{"zsl-replay"};
    for (const Help &help : subcommandHelps())
        pages.push_back("zsl-replay-" + help.name);
    std::string out = ".SH \"SEE ALSO\"\n";
    bool first = true;
    for (const std::string &page : pages) {
        if (page == self)
            continue;
        out += std::string(first ? "" : ",\n") + "\\fB" + escape(page) + "\\fR(1)";
        first = false;
    }
    return out + "\n.PP\nThe documentation in /usr/share/doc/korvan\\-zsl/.\n";
}

} // namespace

std::vector<ManPage> manPages(CLI::App &tool)
{
    const Help &help = toolHelp();
    std::string roff = header("zsl-replay", help.summary) +
                       ".SH SYNOPSIS\n.B zsl-replay\n[\\fISUBCOMMAND\\fR] "
                       "[\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n" +
                       ".SH DESCRIPTION\n" + paragraphs(help.description) + ".SH SUBCOMMANDS\n";
    for (const Help &subcommand : subcommandHelps())
        roff += ".TP\n\\fBzsl\\-replay " + escape(subcommand.name) + "\\fR\n" + escape(subcommand.summary) +
                "; see \\fBzsl\\-replay\\-" + escape(subcommand.name) + "\\fR(1).\n";
    roff += ".SH OPTIONS\n" + optionsOf(tool) + commonSections(help) + seeAlso("zsl-replay");
    std::vector<ManPage> pages{{"zsl-replay.1", roff}};

    for (const Help &subcommand : subcommandHelps()) {
        CLI::App *app = tool.get_subcommand(subcommand.name);
        const std::string page = "zsl-replay-" + subcommand.name;
        pages.push_back({page + ".1", header(page, subcommand.summary) + ".SH SYNOPSIS\n" +
                                          synopsis(*app, "zsl-replay " + subcommand.name) + ".SH DESCRIPTION\n" +
                                          paragraphs(subcommand.description) + ".SH OPTIONS\n" + optionsOf(*app) +
                                          commonSections(subcommand) + seeAlso(page)});
    }
    return pages;
}

} // namespace zsl::commands
