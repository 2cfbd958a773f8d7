// drutils cipher encode|decode: the library's Blowfish cipher over files or
// standard input and output, for scripts that exchange data with the peers that
// use it.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cli.h"
#include "platform/cnumbers.h"
#include "commands.h"
#include "platform/files.h"
#include "ut_blowfish.h"

namespace {

const char kHelp[] =
    "usage: drutils cipher encode --key-hex HEX [--json] [--force] [IN [OUT]]\n"
    "       drutils cipher decode --key-hex HEX [--length N] [--force] [IN [OUT]]\n"
    "  Blowfish block by block (ECB), each block as two little-endian words, the way\n"
    "  the library and its peers store it. IN and OUT default to standard input and\n"
    "  output; \"-\" names them as well. OUT is written whole or not at all, never\n"
    "  over IN, and an existing OUT is replaced only with --force.\n"
    "  --key-hex HEX  the key: 2 to 144 hexadecimal digits (1 to 72 bytes)\n"
    "\n"
    "  encode pads the data with zero bytes to a multiple of 8 and writes nothing but\n"
    "  the cipher text, so the original length is not stored with it. When OUT is a\n"
    "  file, encode prints that length (--json: {\"length\":N,\"padded\":M}; only\n"
    "  with OUT a file); keep it beside the cipher text.\n"
    "  decode --length N writes the first N bytes only, dropping the padding; N must\n"
    "  lie within the last block. Without --length the padding is written too.\n"
    "  decode fails on input that is not a whole number of 8-byte blocks.\n";

// Chunks are whole blocks so that every chunk but the last is enciphered without
// padding.
constexpr size_t kChunk = 1 << 20;
constexpr size_t kMaxKeyBytes = 72;

bool parseHexKey(const std::string& hex, std::vector<unsigned char>& key, std::string& error) {
    if (hex.empty() || hex.size() % 2 != 0) {
        error = "--key-hex needs an even, non-zero number of hexadecimal digits";
        return false;
    }
    if (hex.size() / 2 > kMaxKeyBytes) {
        // The cipher ignores key bytes after the 72nd; refusing them keeps a user
        // from believing a longer key is stronger.
        error = "--key-hex is longer than 72 bytes, the most the cipher uses";
        return false;
    }
    auto digit = [](char c) { return ut::platform::hexDigit(static_cast<unsigned char>(c)); };
    key.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = digit(hex[i]), lo = digit(hex[i + 1]);
        if (hi < 0 || lo < 0) {
            error = "--key-hex holds a character that is not a hexadecimal digit";
            return false;
        }
        key.push_back(static_cast<unsigned char>(hi << 4 | lo));
    }
    return true;
}

bool parseLength(const std::string& text, unsigned long long& value) {
    if (text.empty() || text.size() > 19)
        return false;
    value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + unsigned(c - '0');
    }
    return true;
}

bool isStd(const std::string& path) { return path.empty() || path == "-"; }

// Fills buf up to want bytes unless the input ends first; false on a read error.
bool readFull(FILE* in, unsigned char* buf, size_t want, size_t& got) {
    got = 0;
    while (got < want) {
        const size_t n = std::fread(buf + got, 1, want - got, in);
        if (n == 0)
            return !std::ferror(in);
        got += n;
    }
    return true;
}

// Standard output, or a file that becomes OUT only on commit. Until then the
// bytes go to a temporary file beside OUT, readable by its owner only (deciphered
// text is private), which is removed if the command fails.
class Output {
public:
    bool open(const std::string& path, bool replaceExisting, std::string& error) {
        if (isStd(path))
            return true;
        m_path = path;
        m_file = std::make_unique<ut::platform::AtomicFileWriter>(cli::wide(path), replaceExisting);
        if (!m_file->file()) {
            error = path + ": not written: " + ut::platform::describe(m_file->status());
            return false;
        }
        return true;
    }
    bool write(const unsigned char* data, size_t size) {
        if (size == 0)
            return true;
        FILE* out = m_file ? m_file->file() : stdout;
        return std::fwrite(data, 1, size, out) == size;
    }
    // Empty when done, else the line to show.
    std::string commit() {
        if (!m_file)
            return std::fflush(stdout) == 0 ? std::string() : "cannot write the output";
        if (m_file->commit())
            return std::string();
        return m_path + ": not written: " + ut::platform::describe(m_file->status());
    }
    bool toFile() const { return m_file != nullptr; }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
    std::unique_ptr<ut::platform::AtomicFileWriter> m_file;
};

struct Streams {
    FILE* in = stdin;
    Output out;
    ~Streams() {
        if (in && in != stdin)
            std::fclose(in);
    }
};

int encodeStream(ut::CBlowfishCrypt& cipher, Streams& s, bool json) {
    std::vector<unsigned char> buf(kChunk);
    unsigned long long total = 0, written = 0;
    for (;;) {
        size_t got = 0;
        if (!readFull(s.in, buf.data(), kChunk, got))
            return cli::fail("cannot read the input");
        const unsigned int padded = cipher.encode(buf.data(), static_cast<unsigned int>(got));
        if (!s.out.write(buf.data(), padded))
            return cli::fail(s.out.toFile() ? s.out.path() + ": not written: cannot write" : "cannot write the output");
        total += got;
        written += padded;
        if (got < kChunk)
            break;
    }
    if (std::string why = s.out.commit(); !why.empty())
        return cli::fail(why);
    if (s.out.toFile()) {
        if (json) {
            cli::Json j;
            j.beginObject().key("length").value(static_cast<long long>(total));
            j.key("padded").value(static_cast<long long>(written)).endObject();
            j.finish();
        } else {
            std::printf("enciphered %llu bytes into %llu; decode with --length %llu\n", total, written,
                        total);
        }
    }
    return cli::kOk;
}

// The length belongs to the cipher text only if it ends in the last block;
// anything else means the two were mixed up.
int lengthMismatch(unsigned long long length) {
    return cli::fail("--length " + std::to_string(length) +
                     " does not end within the last block of the cipher text");
}

int decodeStream(ut::CBlowfishCrypt& cipher, Streams& s, bool haveLength, unsigned long long length) {
    std::vector<unsigned char> buf(kChunk);
    unsigned long long total = 0, written = 0;
    for (;;) {
        size_t got = 0;
        if (!readFull(s.in, buf.data(), kChunk, got))
            return cli::fail("cannot read the input");
        total += got;
        if (got % 8 != 0)
            return cli::fail("the input is " + std::to_string(total) +
                             " bytes, not a whole number of 8-byte blocks");
        // A length that ends before the last block shows as soon as the input
        // passes it; nothing of this chunk is written then.
        if (haveLength && total >= length + 8)
            return lengthMismatch(length);
        cipher.decode(buf.data(), static_cast<unsigned int>(got));
        size_t keep = got;
        if (haveLength && written + keep > length)
            keep = static_cast<size_t>(length - written);
        if (!s.out.write(buf.data(), keep))
            return cli::fail(s.out.toFile() ? s.out.path() + ": not written: cannot write" : "cannot write the output");
        written += keep;
        if (got < kChunk)
            break;
    }
    if (haveLength && length > total)
        return lengthMismatch(length);
    if (std::string why = s.out.commit(); !why.empty())
        return cli::fail(why);
    return cli::kOk;
}

} // namespace

int runCipher(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    if (command != "encode" && command != "decode")
        return cli::usage("unknown command 'cipher " + command + "'");
    args.erase(args.begin());
    const bool encode = command == "encode";

    std::string keyHex, lengthText;
    bool missing = false;
    if (!cli::takeOption(args, "--key-hex", keyHex, &missing))
        return cli::usage(missing ? "--key-hex needs a value" : "cipher " + command + " needs --key-hex");
    bool haveLength = false;
    unsigned long long length = 0;
    bool json = false;
    const bool force = cli::takeFlag(args, "--force");
    if (encode) {
        json = cli::takeFlag(args, "--json");
    } else {
        haveLength = cli::takeOption(args, "--length", lengthText, &missing);
        if (missing)
            return cli::usage("--length needs a value");
        if (haveLength && !parseLength(lengthText, length))
            return cli::usage("--length needs a number of bytes");
    }
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    else if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() > 2)
        return cli::usage("cipher " + command + " takes at most IN and OUT");

    std::vector<unsigned char> key;
    std::string error;
    if (!parseHexKey(keyHex, key, error))
        return cli::usage(error);
    ut::CBlowfishCrypt cipher;
    if (!cipher.initialize(key.data(), static_cast<int>(key.size())))
        return cli::fail("the key was refused");
    // The key is not needed once the schedule is built.
    std::fill(key.begin(), key.end(), 0);

    Streams s;
    const std::string inPath = args.size() > 0 ? args[0] : std::string();
    const std::string outPath = args.size() > 1 ? args[1] : std::string();
    // Only a file gets the length printed, so --json without one would be ignored.
    if (json && isStd(outPath))
        return cli::usage("--json needs OUT to be a file (standard output carries the cipher text)");
    if (!isStd(inPath)) {
        ut::platform::FileStatus why = ut::platform::FileStatus::Ok;
        s.in = ut::platform::openFile(cli::wide(inPath), "rb", &why);
        if (!s.in)
            return cli::fail(inPath + ": " + ut::platform::describe(why));
    }
    if (!isStd(outPath)) {
        std::vector<std::string> inputs;
        if (!isStd(inPath))
            inputs.push_back(inPath);
        if (std::string why = cli::checkOutput(outPath, inputs, force, true); !why.empty())
            return cli::fail(why);
    }
    if (!s.out.open(outPath, force, error))
        return cli::fail(error);
    return encode ? encodeStream(cipher, s, json) : decodeStream(cipher, s, haveLength, length);
}
