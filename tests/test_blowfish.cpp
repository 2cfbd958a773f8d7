// ut::CBlowfishCrypt against OpenSSL's Blowfish (libcrypto), which serves as the
// reference: the published vectors are checked against both, and random keys and
// buffers against OpenSSL. OpenSSL reads a block as two big-endian words, the
// library as two little-endian ones, so the reference is driven through
// BF_encrypt with the words the library would load.
#define OPENSSL_SUPPRESS_DEPRECATED // BF_* are deprecated in OpenSSL 3 but still the reference
#include <openssl/blowfish.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"
#include "ut_blowfish.h"

using Bytes = std::vector<unsigned char>;
using testing_support::LogCapture;
using testing_support::runTool;

namespace {

Bytes fromHex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

std::string toHex(const Bytes& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (unsigned char b : bytes) {
        s += digits[b >> 4];
        s += digits[b & 15];
    }
    return s;
}

uint32_t loadLe(const unsigned char* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

void storeLe(unsigned char* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}

// What the library must produce: zero padding, then every block enciphered by
// OpenSSL with its words taken little-endian.
Bytes referenceEncode(const Bytes& key, Bytes data) {
    BF_KEY schedule;
    BF_set_key(&schedule, static_cast<int>(key.size()), key.data());
    data.resize((data.size() + 7) / 8 * 8, 0);
    for (size_t i = 0; i < data.size(); i += 8) {
        BF_LONG words[2] = {loadLe(&data[i]), loadLe(&data[i + 4])};
        BF_encrypt(words, &schedule);
        storeLe(&data[i], static_cast<uint32_t>(words[0]));
        storeLe(&data[i + 4], static_cast<uint32_t>(words[1]));
    }
    return data;
}

// Reverses each 4-byte word: turns a published (big-endian) block into the bytes
// the library must be given for the same words, and back.
Bytes swapWords(Bytes b) {
    for (size_t i = 0; i + 4 <= b.size(); i += 4) {
        std::swap(b[i], b[i + 3]);
        std::swap(b[i + 1], b[i + 2]);
    }
    return b;
}

} // namespace

TEST(Blowfish, OutputLengthRoundsUpToWholeBlocks) {
    const struct {
        unsigned int n, expected;
    } rows[] = {{0, 0}, {1, 8}, {8, 8}, {9, 16}, {0xFFFFFFF1u, 0xFFFFFFF8u},
                {0xFFFFFFF8u, 0xFFFFFFF8u}, {0xFFFFFFF9u, 0}}; // the last cannot be padded in 32 bits
    for (const auto& row : rows)
        EXPECT_EQ(row.expected, ut::CBlowfishCrypt::getOutputLength(row.n)) << row.n;
}

TEST(Blowfish, PublishedVectors) {
    // Eric Young's Blowfish test vectors, as published (big-endian words); OpenSSL
    // must give the same, which also checks how the reference is driven.
    struct Row {
        const char *key, *plain, *cipher;
    };
    const Row ecb[] = {
        {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
        {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
        {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
        {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
        {"7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"},
        {"0170F175468FB5E6", "0756D8E0774761D2", "432193B78951FC98"},
        {"584023641ABA6176", "004BD6EF09176062", "452031C1E4FADA8E"},
        {"018310DC409B26D6", "1D9D5C5018F728C2", "D1ABB290658BC778"},
        {"0101010101010101", "0123456789ABCDEF", "FA34EC4847B268B2"},
        {"0000000000000000", "FFFFFFFFFFFFFFFF", "014933E0CDAFF6E4"},
        {"FFFFFFFFFFFFFFFF", "0000000000000000", "F21E9A77B71C49BC"},
        {"0123456789ABCDEF", "0000000000000000", "245946885754369A"},
        {"FEDCBA9876543210", "FFFFFFFFFFFFFFFF", "6B5C5A9C5D9E0A5A"},
    };
    // The published key-length set: prefixes of one 24-byte key, one plaintext.
    const std::string longKey = "F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677";
    const char* byKeyLength[24] = {
        "F9AD597C49DB005E", "E91D21C1D961A6D6", "E9C2B70A1BC65CF3", "BE1E639408640F05",
        "B39E44481BDB1E6E", "9457AA83B1928C0D", "8BB77032F960629D", "E87A244E2CC85E82",
        "15750E7A4F4EC577", "122BA70B3AB64AE0", "3A833C9AFFC537F6", "9409DA87A90F6BF2",
        "884F80625060B8B4", "1F85031C19E11968", "79D9373A714CA34F", "93142887EE3BE15C",
        "03429E838CE2D14B", "A4299E27469FF67B", "AFD5AED1C1BC96A8", "10851C0E3858DA9F",
        "E6F51ED79B9DB21F", "64A6E14AFD36B46F", "80C7D7D45A5479AD", "05044B62FA52D080",
    };
    std::vector<Row> rows(std::begin(ecb), std::end(ecb));
    std::vector<std::string> keys;
    for (int n = 1; n <= 24; ++n)
        keys.push_back(longKey.substr(0, 2 * size_t(n)));
    for (int n = 0; n < 24; ++n)
        rows.push_back({keys[size_t(n)].c_str(), "FEDCBA9876543210", byKeyLength[n]});

    for (const auto& row : rows) {
        SCOPED_TRACE(std::string("key ") + row.key + " plain " + row.plain);
        Bytes key = fromHex(row.key), plain = fromHex(row.plain);
        BF_KEY schedule;
        BF_set_key(&schedule, static_cast<int>(key.size()), key.data());
        unsigned char viaOpenSsl[8];
        BF_ecb_encrypt(plain.data(), viaOpenSsl, &schedule, BF_ENCRYPT);
        EXPECT_EQ(row.cipher, toHex(Bytes(viaOpenSsl, viaOpenSsl + 8)));

        ut::CBlowfishCrypt cipher(key.data(), static_cast<int>(key.size()));
        Bytes block = swapWords(plain);
        EXPECT_EQ(8u, cipher.encode(block.data(), 8));
        EXPECT_EQ(row.cipher, toHex(swapWords(block)));
        cipher.decode(block.data(), 8);
        EXPECT_EQ(row.plain, toHex(swapWords(block)));
    }
}

TEST(Blowfish, RandomKeysAndBuffersMatchOpenSsl) {
    // Keys of 1 to 80 bytes (past 72 the extra bytes must be ignored, as OpenSSL
    // does), buffers of every length class up to several groups of blocks.
    std::mt19937 rng(20240611);
    auto bytes = [&](size_t n) {
        Bytes b(n);
        for (auto& c : b)
            c = static_cast<unsigned char>(rng());
        return b;
    };
    for (int keyLength = 1; keyLength <= 80; ++keyLength) {
        for (int round = 0; round < 4; ++round) {
            const Bytes key = bytes(size_t(keyLength));
            const size_t length = rng() % 200;
            const Bytes plain = bytes(length);
            const Bytes expected = referenceEncode(key, plain);
            SCOPED_TRACE(testing::Message() << "key length " << keyLength << ", data length " << length);

            ut::CBlowfishCrypt cipher(const_cast<unsigned char*>(key.data()), keyLength);
            // In place: the room after the data holds garbage that padding must clear.
            Bytes inPlace = plain;
            inPlace.resize(expected.size(), 0xEE);
            ASSERT_EQ(expected.size(), cipher.encode(inPlace.data(), unsigned(length)));
            EXPECT_EQ(expected, inPlace);

            // Into another buffer, the input allocated to its exact length so that
            // a read past it shows under AddressSanitizer.
            std::unique_ptr<unsigned char[]> in(new unsigned char[length]);
            std::copy(plain.begin(), plain.end(), in.get());
            Bytes out(expected.size(), 0xEE);
            ASSERT_EQ(expected.size(), cipher.encode(in.get(), out.data(), unsigned(length)));
            EXPECT_EQ(expected, out);

            Bytes back(expected.size());
            cipher.decode(out.data(), back.data(), unsigned(expected.size()));
            Bytes padded = plain;
            padded.resize(expected.size(), 0);
            EXPECT_EQ(padded, back);
            cipher.decode(inPlace.data(), unsigned(expected.size()));
            EXPECT_EQ(padded, inPlace);
        }
    }
}

TEST(Blowfish, PaddingAndCodeBook) {
    Bytes key = fromHex("A1B2C3D4E5");
    ut::CBlowfishCrypt cipher(key.data(), 5);

    // 5 bytes become one block whose last three plaintext bytes were zero.
    unsigned char five[8] = {'a', 'b', 'c', 'd', 'e', 0x55, 0x55, 0x55};
    EXPECT_EQ(8u, cipher.encode(five, 5));
    EXPECT_EQ(referenceEncode(key, Bytes{'a', 'b', 'c', 'd', 'e'}), Bytes(five, five + 8));
    cipher.decode(five, 8);
    EXPECT_EQ((Bytes{'a', 'b', 'c', 'd', 'e', 0, 0, 0}), Bytes(five, five + 8));

    // Equal plaintext blocks give equal cipher blocks: no chaining.
    unsigned char twice[16] = {1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(16u, cipher.encode(twice, 16));
    EXPECT_EQ(0, std::memcmp(twice, twice + 8, 8));
    EXPECT_NE((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), Bytes(twice, twice + 8));

    // Decoding a length inside the last block still deciphers that whole block.
    Bytes data = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C'};
    Bytes coded = referenceEncode(key, data);
    cipher.decode(coded.data(), 13);
    data.resize(16, 0);
    EXPECT_EQ(data, coded);
}

// A new key starts again from the initial tables, not from the old schedule.
TEST(Blowfish, RekeyingStartsAfresh) {
    const Bytes first = {1, 2, 3, 4, 5}, second = {9, 8, 7};
    ut::CBlowfishCrypt reused(const_cast<unsigned char*>(first.data()), 5);
    ASSERT_TRUE(reused.initialize(const_cast<unsigned char*>(second.data()), 3));
    Bytes block = {1, 2, 3, 4, 5, 6, 7, 8};
    reused.encode(block.data(), 8);
    EXPECT_EQ(referenceEncode(second, {1, 2, 3, 4, 5, 6, 7, 8}), block);
}

TEST(Blowfish, BadInputIsRefusedWithoutTouchingBuffers) {
    LogCapture log;
    unsigned char key[4] = {1, 2, 3, 4};
    const Bytes original = {10, 11, 12, 13, 14, 15, 16, 17};

    // Refused keys leave the object unkeyed: it must not encipher with zero tables
    // (or an earlier key) behind the caller's back.
    ut::CBlowfishCrypt unkeyed;
    ut::CBlowfishCrypt nullKey(nullptr, 4);
    ut::CBlowfishCrypt emptyKey(key, 0);
    ut::CBlowfishCrypt wasKeyed(key, 4);
    EXPECT_TRUE(wasKeyed.isInitialized());
    EXPECT_FALSE(wasKeyed.initialize(key, -3));
    for (ut::CBlowfishCrypt* c : {&unkeyed, &nullKey, &emptyKey, &wasKeyed}) {
        EXPECT_FALSE(c->isInitialized());
        Bytes buf = original;
        EXPECT_EQ(0u, c->encode(buf.data(), 8));
        c->decode(buf.data(), 8);
        Bytes out(8, 0);
        EXPECT_EQ(0u, c->encode(buf.data(), out.data(), 8));
        EXPECT_EQ(original, buf);
        EXPECT_EQ(Bytes(8, 0), out);
    }
    EXPECT_TRUE(log.contains("refused a null key"));
    EXPECT_TRUE(log.contains("refused a zero-length key"));
    EXPECT_TRUE(log.contains("no key has been set"));

    // Null buffers with a good key, and a length that cannot be padded.
    ut::CBlowfishCrypt cipher(key, 4);
    Bytes buf = original;
    EXPECT_EQ(0u, cipher.encode(nullptr, 8));
    EXPECT_EQ(0u, cipher.encode(nullptr, buf.data(), 8));
    cipher.decode(buf.data(), nullptr, 8);
    EXPECT_EQ(0u, cipher.encode(buf.data(), 0xFFFFFFFFu));
    EXPECT_EQ(original, buf);
    EXPECT_TRUE(log.contains("refused a null buffer"));
    EXPECT_TRUE(log.contains("cannot be padded"));
}

TEST(Blowfish, ToolRoundTripsAndKeepsTheLengthOutside) {
    testing_support::TempDir dir;
    const std::string keyHex = "00112233445566778899AABBCCDDEEFF";
    const std::string plain = "drawing password\nwith a tail";
    const Bytes expected = referenceEncode(fromHex(keyHex), Bytes(plain.begin(), plain.end()));
    const std::string expectedText(expected.begin(), expected.end());

    std::string out, err;
    // Standard input to standard output: nothing but the cipher text.
    ASSERT_EQ(0, runTool({"cipher", "encode", "--key-hex", keyHex}, &out, &err, plain)) << err;
    EXPECT_EQ(expectedText, out);
    ASSERT_EQ(0, runTool({"cipher", "decode", "--key-hex=" + keyHex, "--length", "28", "-"}, &out, &err,
                         expectedText));
    EXPECT_EQ(plain, out);

    // Files: encode reports the length the cipher text does not keep.
    testing_support::writeFile(dir.file("plain"), plain);
    ASSERT_EQ(0, runTool({"cipher", "encode", "--json", "--key-hex", keyHex, dir.file("plain"),
                          dir.file("coded")},
                         &out, &err));
    EXPECT_EQ("{\"length\":28,\"padded\":32}\n", out);
    EXPECT_EQ(expectedText, testing_support::readFile(dir.file("coded")));
    ASSERT_EQ(0, runTool({"cipher", "decode", "--key-hex", keyHex, "--length", "28", dir.file("coded"),
                          dir.file("plain"), "--force"}));
    EXPECT_EQ(plain, testing_support::readFile(dir.file("plain")));

    // Usage errors (2) and failures (1), each with one line on stderr; a failed
    // decode leaves no output file behind.
    const struct {
        std::vector<std::string> args;
        int status;
        const char* message;
    } bad[] = {
        {{"cipher", "encode"}, 2, "needs --key-hex"},
        {{"cipher", "encode", "--key-hex", "abc"}, 2, "even, non-zero number"},
        {{"cipher", "encode", "--key-hex", std::string(146, 'a')}, 2, "longer than 72 bytes"},
        {{"cipher", "decode", "--key-hex", "ab", "--length", "x"}, 2, "number of bytes"},
        {{"cipher", "encode", "--key-hex", "ab", dir.file("missing")}, 1, "no such file"},
        {{"cipher", "decode", "--key-hex", keyHex, dir.file("plain"), dir.file("x")}, 1, "whole number of 8-byte"},
        {{"cipher", "decode", "--key-hex", keyHex, "--length", "33", dir.file("coded2"), dir.file("x")}, 1,
         "does not end within the last block"},
    };
    testing_support::writeFile(dir.file("coded2"), expectedText);
    for (const auto& row : bad) {
        SCOPED_TRACE(row.message);
        EXPECT_EQ(row.status, runTool(row.args, &out, &err));
        EXPECT_NE(std::string::npos, err.find(row.message)) << err;
        EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n')) << err;
    }
    EXPECT_EQ((std::vector<std::string>{"coded", "coded2", "plain"}), dir.entries());
}
