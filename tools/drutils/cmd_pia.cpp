// drutils pia: the compressed parameter-file container behind plot style tables
// and printer configurations. cat shows the text inside, pack builds a container
// from a text, check tells whether files can be read and where they break.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <zlib.h>

#include "cli.h"
#include "commands.h"
#include "pia.h"
#include "platform/codepage.h"

namespace {

const char kHelp[] =
    "usage: drutils pia <command> [options]\n"
    "  cat FILE                        print the text inside a container (UTF-8)\n"
    "  pack TEXT OUT [--kind K]        build a container from a text file; K is ctb,\n"
    "                                  stb or pc3 (default: from OUT's extension)\n"
    "  check [--json] FILE...          parse each file; report OK or why it cannot be\n"
    "                                  read, with the number of the first bad line\n"
    "Exit status 1 when a file cannot be read, written or parsed.\n";

// What a container result code means to someone looking at the file.
std::string describe(int rc) {
    switch (rc) {
    case ZlibEngine::kShortWrite:
        return "short write";
    case ZlibEngine::kFileError:
        return "cannot open, read or write the file";
    case ZlibEngine::kUserAbort:
        return "aborted";
    case ZlibEngine::kTooLarge:
        return "text inside is larger than " + std::to_string(CPIAFileIn::kDefaultMaxTextSize >> 20) +
               " MiB (not a parameter file)";
    case Z_DATA_ERROR:
        return "compressed data is corrupt";
    case Z_BUF_ERROR:
        return "compressed data is truncated or missing";
    case Z_MEM_ERROR:
        return "out of memory";
    case Z_NEED_DICT:
        return "compressed data needs a preset dictionary";
    default:
        return "zlib error " + std::to_string(rc);
    }
}

bool readBytes(const std::string& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream ss;
    ss << in.rdbuf();
    bytes = ss.str();
    return !in.bad();
}

int runCat(cli::Args& args) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("pia cat needs exactly one FILE");
    CPIAFileIn in;
    int rc = in.open(cli::wide(args[0]));
    if (rc != 0)
        return cli::fail(args[0] + ": " + describe(rc));
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

    std::string text;
    if (!readBytes(textPath, text))
        return cli::fail(textPath + ": cannot read the file");
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
    size_t pos = 0;
    while (rc == 0 && pos < text.size()) {
        size_t lf = text.find('\n', pos);
        const bool ended = lf != std::string::npos;
        std::string line = text.substr(pos, ended ? lf - pos : std::string::npos);
        pos = ended ? lf + 1 : text.size();
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        rc = out.writeLine(ut::platform::codePageToWide(line, codePage).c_str(), ended);
    }
    rc = out.close(cli::wide(outPath));
    if (rc != 0)
        return cli::fail(outPath + ": " + describe(rc));
    return cli::kOk;
}

int runCheck(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.empty())
        return cli::usage("pia check needs at least one FILE");
    bool allOk = true;
    cli::Json out;
    if (json)
        out.beginArray();
    for (const auto& file : args) {
        CPIAParser parser;
        const bool ok = parser.parse(cli::wide(file));
        allOk = allOk && ok;
        std::string reason;
        if (!ok)
            reason = parser.openResult() != 0 ? describe(parser.openResult())
                                              : cli::utf8(std::wstring(parser.errorText()));
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
