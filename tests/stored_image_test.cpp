// The stored image format: the decoder's table at its extremes, rejected types,
// an empty palette, and every stored artwork decoding to the pixels it was
// drawn with; the committed artwork is what the generator writes today.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "panelui/artwork.h"
#include "tools/artwork/generate.h"

namespace {

std::vector<unsigned char> Header(int w, int h, int type, std::vector<std::array<unsigned char, 3>> palette) {
    std::vector<unsigned char> b = {static_cast<unsigned char>(w >> 8), static_cast<unsigned char>(w),
                                    static_cast<unsigned char>(h >> 8), static_cast<unsigned char>(h),
                                    static_cast<unsigned char>(type), static_cast<unsigned char>(palette.size())};
    for (auto &c : palette) b.insert(b.end(), c.begin(), c.end());
    return b;
}

TEST(StoredImage, RunsTypesAndPalettes) {
    // Control 127: 109393 literal bytes; control 255: one byte 50000 times.
    std::vector<unsigned char> coded = {127};
    for (int i = 0; i < 109393; ++i) coded.push_back(static_cast<unsigned char>(i % 251));
    coded.push_back(255);
    coded.push_back(7);
    unsigned char *out = DecodeRunLength(coded.data(), coded.size(), 109393 + 50000);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[109392], 109392 % 251);
    EXPECT_EQ(out[109393], 7);
    EXPECT_EQ(out[109393 + 49999], 7);
    std::free(out);
    for (auto [control, run] : {std::pair{0, 1}, {112, 113}, {113, 115}, {128, 3}, {199, 74}, {200, 76}})
        EXPECT_EQ(RunLength(control), run) << control;
    // Types and palettes.
    auto image = Header(4, 1, 3, {{1, 2, 3}});
    image.insert(image.end(), {131, 0});  // six zeros, more than enough
    EXPECT_EQ(DecodeImage(image.data(), image.size()), nullptr) << "type 3 is rejected";
    EXPECT_EQ(DecodeImage(nullptr, 0), nullptr);

    auto empty = Header(4, 1, 2, {});
    empty.insert(empty.end(), {3, 0, 9, 200, 255});  // a palette of none: every index black
    BitmapRecord *r = DecodeImage(empty.data(), empty.size());
    ASSERT_NE(r, nullptr);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(r->pixels[i], 0);
    FreeBitmapRecord(r);

    auto colours = Header(4, 1, 1, {{10, 20, 30}, {200, 100, 50}});
    colours.insert(colours.end(), {3, 0, 1, 1, 0});
    r = DecodeImage(colours.data(), colours.size());
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->header.size, 40u);
    EXPECT_EQ(r->header.height, -1) << "rows from the top";
    EXPECT_EQ(r->header.bitCount, 24);
    const unsigned char want[12] = {30, 20, 10, 50, 100, 200, 50, 100, 200, 30, 20, 10};  // blue, green, red
    EXPECT_EQ(std::vector<unsigned char>(r->pixels, r->pixels + 12), std::vector<unsigned char>(want, want + 12));
    FreeBitmapRecord(r);
    // Cut anywhere before its last byte, the image is refused, never read past
    // its end (the header, the palette, a run's control byte or its bytes).
    for (size_t cut = 0; cut < colours.size(); ++cut) {
        std::vector<unsigned char> part(colours.begin(), colours.begin() + static_cast<long>(cut));
        EXPECT_EQ(DecodeImage(part.data(), part.size()), nullptr) << "cut at " << cut;
    }
}

void ExpectDecodesTo(StoredImage stored, const SourceImage &source, const std::string &what) {
    ASSERT_NE(stored.data, nullptr) << what;
    BitmapRecord *r = DecodeImage(stored.data, stored.size);
    ASSERT_NE(r, nullptr) << what;
    ASSERT_EQ(r->width, source.width);
    ASSERT_EQ(r->height, source.height);
    for (size_t i = 0; i < source.indices.size(); ++i) {
        const auto &c = source.palette[source.indices[i]];
        ASSERT_TRUE(r->pixels[3 * i] == c[2] && r->pixels[3 * i + 1] == c[1] && r->pixels[3 * i + 2] == c[0])
            << what << " pixel " << i;
    }
    FreeBitmapRecord(r);
}

TEST(StoredImage, EveryArtworkDecodesToItsDrawing) {
    ExpectDecodesTo(CollectionTitleImage(), artwork::CollectionTitle(), "collection");
    for (const std::string &name : artwork::PluginNames())
        ExpectDecodesTo(TitleStripImage(name.c_str()), artwork::PluginStrip(name), name);
    EXPECT_EQ(TitleStripImage("Nobody").data, nullptr);

    std::ifstream in(std::string(VESK_SOURCE_DIR) + "/src/panelui/artwork_data.cpp", std::ios::binary);
    std::stringstream committed;
    committed << in.rdbuf();
    EXPECT_TRUE(committed.str() == artwork::GeneratedSource()) << "run make_artwork: the drawings changed";
}

}  // namespace
