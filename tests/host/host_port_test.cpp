// The reference host port on its own: the decryptor against OpenSSL's
// encryption of the same bytes, and the account file.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "tqlhost.h"
#include "tqllib.h"

namespace {

std::vector<unsigned char> encrypt(const std::vector<unsigned char>& plain, const unsigned char* key, int sequence)
{
    unsigned char iv[16] = {0};
    for (int i = 0; i < 4; ++i)
        iv[15 - i] = static_cast<unsigned char>(static_cast<uint32_t>(sequence) >> (8 * i));
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(ctx, EVP_aes_128_cbc(), nullptr, key, iv); // PKCS#7 padding on
    std::vector<unsigned char> out(plain.size() + 16);
    int n = 0, tail = 0;
    EVP_EncryptUpdate(ctx, out.data(), &n, plain.data(), static_cast<int>(plain.size()));
    EVP_EncryptFinal_ex(ctx, out.data() + n, &tail);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n + tail));
    return out;
}

TEST(HostDecryptor, DecryptsInPlaceWholeBlocksWithTheSequenceNumberAsIv)
{
    const unsigned char key[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    std::vector<unsigned char> plain(1000);
    for (size_t i = 0; i < plain.size(); ++i)
        plain[i] = static_cast<unsigned char>(i * 7);
    std::vector<unsigned char> data = encrypt(plain, key, 0x01020304);
    ASSERT_EQ(1008u, data.size());

    unsigned char nonce[16] = {0};
    tql_decryptParams start{};
    start.key = key;
    start.keyLength = tql_cipher_get_algo_keylen();
    start.nonce = nonce;
    start.nonceLength = 16;
    start.sequenceNumber = 0x01020304;
    ASSERT_EQ(1, tql_decrypt_start(start));
    // Pieces that end inside a block: only whole blocks come back, and the
    // caller hands the rest in again with the next piece.
    size_t done = 0;
    for (size_t arrived : {size_t(37), size_t(100), size_t(517), size_t(1008)}) {
        tql_decryptParams p{};
        p.input = p.output = data.data() + done;
        p.inputLength = p.outputLength = static_cast<int>(arrived - done);
        int produced = tql_decrypt_process(p);
        ASSERT_GE(produced, 0);
        EXPECT_EQ(0, produced % 16);
        done += static_cast<size_t>(produced);
    }
    tql_decrypt_done();
    ASSERT_EQ(1008u, done);
    EXPECT_EQ(8, data.back()) << "the padding stays for the library to remove";
    EXPECT_EQ(0, memcmp(plain.data(), data.data(), plain.size()));
}

TEST(HostDecryptor, RefusesAKeyOfTheWrongLength)
{
    const unsigned char key[8] = {0};
    tql_decryptParams start{};
    start.key = key;
    start.keyLength = 8;
    EXPECT_EQ(0, tql_decrypt_start(start));
}

TEST(HostAccount, WrittenPrivatelyAndReadBackSlotForSlot)
{
    char dir[] = "/tmp/tqlhost-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    std::string path = std::string(dir) + "/account";
    tqlhost_set_account_file(path.c_str());

    tql_TamberAccount none{};
    EXPECT_EQ(0, tql_getAccount(&none)) << "no file, no account";
    tql_freeAccount(&none);

    tql_TamberAccount account{};
    account.username = "user\nwith newline";
    account.password = "p\xc3\xa4ss";
    account.accountField2 = "";
    account.accountField7 = "seven";
    ASSERT_EQ(1, tql_setAccount(&account));
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777u);
    EXPECT_NE(0, access((path + ".tmp").c_str(), F_OK)) << "no temporary left behind";

    tql_TamberAccount back{};
    ASSERT_EQ(1, tql_getAccount(&back));
    EXPECT_STREQ("user\nwith newline", back.username);
    EXPECT_STREQ("p\xc3\xa4ss", back.password);
    EXPECT_STREQ("", back.accountField2);
    EXPECT_STREQ("", back.accountField3) << "an unset slot is stored empty";
    EXPECT_STREQ("seven", back.accountField7);
    tql_freeAccount(&back);

    unlink(path.c_str());
    rmdir(dir);
}

TEST(HostSettings, GettersGiveAtMostTheBufferSize)
{
    tqlhost_set_config_url("http://127.0.0.1:9/base");
    char buffer[8];
    EXPECT_EQ(8, tql_getConfigUrl(buffer, 8));
    EXPECT_EQ(0, memcmp(buffer, "http://1", 8));
    tqlhost_set_fixed_key("");
    EXPECT_EQ(0, tql_getFixedKey(buffer, 8));
}

} // namespace
