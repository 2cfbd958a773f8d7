// drutils pia: the compressed parameter-file container behind plot style tables
// and printer configurations. cat shows the text inside, pack builds a container
// from a text, check tells whether files can be read and where they break.
#include <cstdio>
#include <string>
#include <vector>
#include <zlib.h>

#include "cli.h"
#include "commands.h"
#include "walk.h"
#include "pia.h"
#include "platform/codepage.h"

namespace {

const char kHelp[] =
    "usage: drutils pia <command> [options]\n"
    "  cat FILE                        print the text inside a container (UTF-8)\n"
    "  pack TEXT OUT [--kind K] [--force]\n"
    "                                  build a container from a text file; K is ctb,\n"
    "                                  stb or pc3 (default: from OUT's extension); an\n"
    "                                  existing OUT is replaced only with --force\n"
    "  check [--json] [-r] FILE...     parse each file; report OK or why it cannot be\n"
    "                                  read, with the number of the first bad line;\n"
    "                                  -r walks folders (their .ctb, .stb, .pc3 and\n"
    "                                  .pmp files)\n"
    "Exit status 1 when a file cannot be read, written or parsed.\n";

// Why a container could not be opened or written, in the reader's or writer's words.
std::string describe(const ZlibEngine& engine, int rc) {
    const OdString why = engine.errorText();
    return cli::utf8(why.isEmpty() ? OdString(ZlibEngine::resultText(rc)) : why);
}

int runCat(cli::Args& args) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("pia cat needs exactly one FILE");
    CPIAFileIn in;
    int rc = in.open(cli::wide(args[0]));
    if (rc != 0)
        return cli::fail(args[0] + ": " + describe(in, rc));
    while (const wchar_t* line = in.readLine()) {
        std::string text = cli::utf8(std::wstring(line));
        if (in.lineEnded())
            text += '\n';
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    return std::fflush(stdout) == 0 ? cli::kOk : cli::fail("cannot write the output");
}

int kindFromName(const std::string& kind) {
    std::string k;
    for (char c : kind)
        k += char(std::tolower(static_cast<unsigned char>(c)));
    if (k == "ctb")
        return CPIAFileOut::kColorTable;
    if (k == "stb")
        return CPIAFileOut::kNamedTable;
    if (k == "pc3" || k == "pmp")
        return CPIAFileOut::kPrinterConfig;
    return -1;
}

int runPack(cli::Args& args) {
    std::string kindText;
    bool missing = false;
    const bool hasKind = cli::takeOption(args, "--kind", kindText, &missing);
    if (missing)
        return cli::usage("--kind needs ctb, stb or pc3");
    const bool force = cli::takeFlag(args, "--force");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 2)
        return cli::usage("pia pack needs TEXT and OUT");
    const std::string& textPath = args[0];
    const std::string& outPath = args[1];
    if (!hasKind) {
        size_t dot = outPath.rfind('.');
        kindText = dot == std::string::npos ? std::string() : outPath.substr(dot + 1);
    }
    const int kind = kindFromName(kindText);
    if (kind < 0)
        return cli::usage(hasKind ? "unknown --kind '" + kindText + "' (ctb, stb or pc3)"
                                  : "cannot tell the kind from '" + outPath + "'; give --kind ctb|stb|pc3");

    if (std::string why = cli::checkOutput(outPath, {textPath}, force); !why.empty())
        return cli::fail(why);
    std::string text;
    if (std::string why = cli::readFile(textPath, CPIAFileIn::kDefaultMaxTextSize, text); !why.empty())
        return cli::fail(why);
    CPIAParser parser;
    if (!parser.parseText(text.data(), text.size()))
        return cli::fail(textPath + ": line " + std::to_string(parser.errorLine()) + ": " +
                         cli::utf8(std::wstring(parser.errorText())));

    // The container holds the text as the application writes it: one line feed per
    // line, in the ANSI code page.
    const bool utf8 = ut::platform::isValidUtf8(text);
    const int codePage = utf8 ? ut::platform::kCodePageUtf8 : ut::platform::ansiCodePage();
    CPIAFileOut out;
    out.setFileType(kind);
    int rc = out.open();
    const int ansi = ut::platform::ansiCodePage();
    std::string narrow;
    int lineNo = 1;
    size_t pos = 0;
    while (rc == 0 && pos < text.size()) {
        size_t lf = text.find('\n', pos);
        const bool ended = lf != std::string::npos;
        std::string line = text.substr(pos, ended ? lf - pos : std::string::npos);
        pos = ended ? lf + 1 : text.size();
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        // A character the code page lacks would be written as "?".
        const std::wstring wideLine = ut::platform::codePageToWide(line, codePage);
        size_t bad = 0;
        if (!ut::platform::encodeExactly(wideLine, ansi, narrow, &bad)) {
            char where[64];
            std::snprintf(where, sizeof where, " (U+%04X)", unsigned(wideLine[bad]));
            return cli::fail(textPath + ": line " + std::to_string(lineNo) + ": the character '" +
                             cli::utf8(std::wstring(1, wideLine[bad])) + "'" + where + " has no form in code page " +
                             std::to_string(ansi) + "; DRUTILS_ANSI_CODEPAGE chooses another (65001 for UTF-8)");
        }
        ++lineNo;
        rc = out.writeLine(wideLine.c_str(), ended);
    }
    if (rc == 0)
        rc = out.close(cli::wide(outPath), force);
    if (rc != 0)
        return cli::fail(outPath + ": not written: " + describe(out, rc));
    return cli::kOk;
}

int runCheck(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    const bool recursive = cli::takeRecursive(args);
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.empty())
        return cli::usage("pia check needs at least one FILE");
    std::vector<std::string> files;
    if (std::string why = cli::expandOperands(args, recursive, {"ctb", "stb", "pc3", "pmp"}, files); !why.empty())
        return cli::usage(why);
    bool allOk = true;
    cli::Json out;
    if (json)
        out.beginArray();
    for (const auto& file : files) {
        CPIAParser parser;
        const bool ok = parser.parse(cli::wide(file));
        allOk = allOk && ok;
        std::string reason;
        if (!ok)
            reason = cli::utf8(std::wstring(parser.errorText()));
        if (json) {
            out.beginObject().key("file").value(file).key("ok").value(ok);
            if (!ok) {
                if (parser.openResult() != 0)
                    out.key("code").value(parser.openResult());
                else
                    out.key("line").value(parser.errorLine());
                out.key("reason").value(reason);
            }
            out.endObject();
        } else if (ok) {
            std::printf("%s: OK\n", file.c_str());
        } else if (parser.openResult() != 0) {
            std::printf("%s: cannot read: %s\n", file.c_str(), reason.c_str());
        } else {
            std::printf("%s: line %d: %s\n", file.c_str(), parser.errorLine(), reason.c_str());
        }
    }
    if (json) {
        out.endArray();
        out.finish();
    }
    return allOk ? cli::kOk : cli::kFailure;
}

} // namespace

int runPia(cli::Args& args) {
    if (args.empty() || (cli::wantsHelp(args))) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command == "cat")
        return runCat(args);
    if (command == "pack")
        return runPack(args);
    if (command == "check")
        return runCheck(args);
    return cli::usage("unknown command 'pia " + command + "'");
}
