#include "QDTivFile.h"
#include "TestSupport.h"

TEST(QDBinaryFile, ScalarsStringsAndArraysKeepTheirRawLayout)
{
    std::string path = testFolder() + "/layout.bin";
    QDBinaryFile file;
    ASSERT_TRUE(file.open(path.c_str(), "wb"));
    QDArray<unsigned short> shorts(3, 0x0102);
    QDArray<QDVector3f> points(1, QDVector3f(1.0f, 2.0f, 3.0f));
    QDBoolArray bits(10, false);
    bits.set(1);
    bits.set(9);
    EXPECT_TRUE(file.write(-2) && file.write(1.5f) && file.write(QDString()) &&
                file.write(QDString("")) && file.write(QDString("abc")) &&
                file.write(QDString("abcd")) && file.writeAsciiString("xy") && file.write(shorts) &&
                file.write(points) && file.write(bits) && file.close());
    std::string empty = le32(1) + zeros(4);
    EXPECT_EQ(readBytes(path), le32(0xFFFFFFFE) + f32(1.5f) + empty + empty + le32(4) +
                                   std::string("abc", 4) + le32(5) + std::string("abcd", 5) +
                                   zeros(3) + "xy" + le32(3) + "\2\1\2\1\2\1" + le32(1) + f32(1) +
                                   f32(2) + f32(3) + le32(10) +
                                   std::string("\0\1\0\0\0\0\0\0\0\1", 10));

    // Strings consume their padding, arrays none: every value comes back in place.
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    int i = 0;
    float f = 0;
    QDString s[4];
    QDBoolArray bitsBack;
    EXPECT_TRUE(file.read(i) && file.read(f) && file.read(s[0]) && file.read(s[1]) &&
                file.read(s[2]) && file.read(s[3]) && file.readAlignData(2) && file.read(shorts) &&
                file.read(points) && file.read(bitsBack));
    EXPECT_TRUE(i == -2 && f == 1.5f);
    EXPECT_STREQ(s[0].c_str(), "");
    EXPECT_STREQ(s[3].c_str(), "abcd");
    EXPECT_TRUE(shorts.size() == 3 && shorts[2] == 0x0102 && points[0].z() == 3.0f);
    ASSERT_EQ(bitsBack.size(), 10);
    for (int bit = 0; bit < 10; ++bit)
        EXPECT_EQ(bitsBack.get(bit), bit == 1 || bit == 9);
    EXPECT_FALSE(file.read(i));
}

TEST(QDBinaryFile, ClosedFileRefusesEverything)
{
    QDBinaryFile file;
    int i = 0;
    QDString s;
    QDArray<int> a;
    QDBoolArray bits;
    EXPECT_FALSE(file.write(1) || file.write(1.0f) || file.read(i) || file.write(s) ||
                 file.read(s) || file.write(a) || file.read(a) || file.writeAsciiString("") ||
                 file.writeAlignData(1) || file.readAlignData(1) || file.write(bits) ||
                 file.read(bits));
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.open((testFolder() + "/missing/x.bin").c_str(), "rb"));
}

TEST(QDBinaryFile, CountsTheFileCannotFillKeepTheirLengthWithinTheReadersBound)
{
    std::string path = testFolder() + "/counts.bin";
    QDBinaryFile file;
    QDArray<QDVector3f> points;
    QDArray<int> ints;
    QDString text("kept?");
    // 2^31-1 vectors would be 24 GiB, far beyond the bound for a 32-byte file:
    // nothing is allocated, and the failed read ends at the end of the file.
    writeBytes(path, le32(0x7FFFFFFF) + zeros(24) + le32(7));
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(points) || file.read(ints));
    EXPECT_EQ(points.size(), 0);
    writeBytes(path, le32(0xFFFFFFFF) + le32(0x7FFFFFF0)); // negative count
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(ints));
    writeBytes(path, le32(0x7FFFFFF0) + "ab");
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(text));
    EXPECT_TRUE(text.isNull());

    // Within the bound the value is as long as its count says, zero past what
    // the file holds, and the read fails.
    writeBytes(path, le32(3) + le32(5) + le32(1 << 20) + "abc");
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(ints));
    EXPECT_EQ(values(ints), (std::vector<int>{5, 1 << 20, 0x636261}));
    writeBytes(path, le32(0x00400000) + "ab");
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(text));
    EXPECT_TRUE(text.length() == 2 && text.c_str()[0x003FFFFF] == 0);
    writeBytes(path, le32(2) + le32(5) + le32(6)); // exactly fits
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_TRUE(file.read(ints) && ints.size() == 2 && ints[1] == 6);
}

TEST(QDTivFile, BlockHeaderOrderPaddingAndSkips)
{
    // The header holds tag, size, count, param; the call takes tag, param, count, bytes.
    std::string path = testFolder() + "/blocks.tiv";
    QDTivFile file(path.c_str(), "wb");
    EXPECT_TRUE(file.writeTivBlock(7, 2.0f, 1, 2, "\1\2"));
    EXPECT_FALSE(file.writeTivBlock(7, 0.0f, 1, 0xFFFFFFF0u, "")); // size cannot say it
    EXPECT_FALSE(file.writeEndTivBlock() && file.close()); // a refused block fails the file
    EXPECT_FALSE(std::filesystem::exists(path));
    ASSERT_TRUE(file.open(path.c_str(), "wb"));
    EXPECT_TRUE(file.writeTivBlock(7, 2.0f, 1, 2, "\1\2") && file.writeEndTivBlock());
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readBytes(path), block(7, 20, 1, "\1\2", 2.0f) + zeros(2) + zeros(16));

    Tiv_Header header;
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_TRUE(file.readTivBlockHeader(header) && file.skipTivBlock(header));
    EXPECT_TRUE(header.tag == 7 && header.size == 20 && header.count == 1 && header.param == 2.0f);
    EXPECT_TRUE(file.readTivBlockHeader(header) && header.tag == 0);
    for (std::string bad : {"Tiva" + zeros(28), "Tivb" + zeros(27)})
    {
        writeBytes(path, bad);
        ASSERT_TRUE(file.open(path.c_str(), "rb"));
        EXPECT_FALSE(file.readTivFileHeader());
    }
}
