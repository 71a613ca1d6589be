// Pages as files; tests/browser opens them.
#include "pages/page.hpp"

#include <gmock/gmock.h>

#include "base/base64.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// The examples of RFC 4648, and bytes beyond ASCII.
TEST(Base64, IsThatOfTheStandard) {
    for (const auto& [bytes, text] : {std::pair{"", ""},
                                      {"f", "Zg=="},
                                      {"fo", "Zm8="},
                                      {"foo", "Zm9v"},
                                      {"foob", "Zm9vYg=="},
                                      {"fooba", "Zm9vYmE="},
                                      {"foobar", "Zm9vYmFy"},
                                      {"\xff\xfe\xfb", "//77"}})
        EXPECT_EQ(toBase64(bytes), text);
}

// Neither a name nor data, nor bytes that are no UTF-8, end the element that they stand in.
TEST(Page, KeepsTextsFromBecomingMarkup) {
    const std::string hostile = "</script></title><script>alert(1)</script>\xff\x1b\xe2\x80\xa8";
    Page page;
    page.title = hostile;
    page.body = "cloud_page.html";
    page.data = {{"name", hostile}, {hostile, 1}};
    const std::string html = composePage(page);
    EXPECT_THAT(html, Not(HasSubstr("alert(1)<")));
    EXPECT_THAT(html, Not(HasSubstr("<script>alert")));
    EXPECT_THAT(html, HasSubstr("<title>&#60;/script&#62;&#60;/title&#62;"));
    EXPECT_THAT(html, HasSubstr(R"({"name":"\u003c/script>)"));
    EXPECT_THAT(html, HasSubstr(R"(\ufffd\u001b\u2028")"));
}

}  // namespace
}  // namespace tiomipra::test
