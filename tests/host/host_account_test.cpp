// The account file's temporary: whatever already stands at its name, the
// stored password ends in a new file only its owner can read, and nothing
// that name pointed to is written.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tqlhost.h"
#include "tqllib.h"

namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class HostAccountTemporary : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(nullptr, mkdtemp(dir));
        path = std::string(dir) + "/account";
        temp = path + ".tmp";
        tqlhost_set_account_file(path.c_str());
        account.username = "listener";
        account.password = "secret";
    }
    void TearDown() override
    {
        for (const std::string& name : {path, temp, std::string(dir) + "/victim"})
            unlink(name.c_str());
        rmdir(dir);
    }
    // The account file is a regular file of mode 0600 that reads back.
    void expectPrivateAccount()
    {
        struct stat st;
        ASSERT_EQ(0, lstat(path.c_str(), &st));
        EXPECT_TRUE(S_ISREG(st.st_mode));
        EXPECT_EQ(0600u, st.st_mode & 0777u);
        EXPECT_NE(0, access(temp.c_str(), F_OK)) << "no temporary left behind";
        tql_TamberAccount back{};
        ASSERT_EQ(1, tql_getAccount(&back));
        EXPECT_STREQ("secret", back.password);
        tql_freeAccount(&back);
    }
    char dir[32] = "/tmp/tqlhost-XXXXXX";
    std::string path, temp;
    tql_TamberAccount account{};
};

TEST_F(HostAccountTemporary, AWorldReadableLeftoverDoesNotPassItsModeOn)
{
    {
        std::ofstream leftover(temp);
        leftover << "half an account from a crash\n";
    }
    ASSERT_EQ(0, chmod(temp.c_str(), 0644));
    ASSERT_EQ(1, tql_setAccount(&account));
    expectPrivateAccount();
}

TEST_F(HostAccountTemporary, ASymbolicLinkThereIsNotFollowed)
{
    const std::string victim = std::string(dir) + "/victim";
    {
        std::ofstream out(victim);
        out << "not yours\n";
    }
    ASSERT_EQ(0, symlink(victim.c_str(), temp.c_str()));
    ASSERT_EQ(1, tql_setAccount(&account));
    EXPECT_EQ("not yours\n", contentOf(victim)) << "the link's target was written";
    expectPrivateAccount();
}

TEST_F(HostAccountTemporary, ADanglingLinkCreatesNothingAtItsTarget)
{
    const std::string victim = std::string(dir) + "/victim";
    ASSERT_EQ(0, symlink(victim.c_str(), temp.c_str()));
    ASSERT_EQ(1, tql_setAccount(&account));
    EXPECT_NE(0, access(victim.c_str(), F_OK)) << "a file was made where the link pointed";
    expectPrivateAccount();
}

} // namespace
