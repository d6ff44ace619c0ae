#include "QDTivFile.h"
#include "TestSupport.h"

#include <cstring>

namespace
{
std::string le32(unsigned int v)
{
    return {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
}
std::string zeros(size_t n)
{
    return std::string(n, '\0');
}
} // namespace

TEST(QDBinaryFile, ScalarsStringsAndArraysKeepTheirRawLayout)
{
    std::string path = testFolder() + "/layout.bin";
    QDBinaryFile file;
    ASSERT_TRUE(file.open(path.c_str(), "wb"));
    EXPECT_TRUE(file.write(-2) && file.write(1.5f));
    EXPECT_TRUE(file.write(QDString()) && file.write(QDString("")) && file.write(QDString("abc")));
    EXPECT_TRUE(file.write(QDString("abcd")) && file.writeAsciiString("xy"));
    QDArray<unsigned short> shorts(3, 0x0102);
    QDArray<QDVector3f> points(1, QDVector3f(1.0f, 2.0f, 3.0f));
    QDBoolArray bits(10, false);
    bits.set(1);
    bits.set(9);
    EXPECT_TRUE(file.write(shorts) && file.write(points) && file.write(bits));
    EXPECT_TRUE(file.close());

    std::string empty = le32(1) + zeros(4);
    std::string expected = le32(0xFFFFFFFE) + le32(0x3FC00000) + empty + empty + le32(4) +
                           std::string("abc", 4) + le32(5) + std::string("abcd", 5) + zeros(3) +
                           "xy" + le32(3) + "\x02\x01\x02\x01\x02\x01" + le32(1) +
                           le32(0x3F800000) + le32(0x40000000) + le32(0x40400000) + le32(10) +
                           std::string("\0\1\0\0\0\0\0\0\0\1", 10);
    EXPECT_EQ(readBytes(path), expected);

    // Read back through the same layout: strings consume their padding, arrays none.
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    int i = 0;
    float f = 0;
    QDString s1, s2, s3, s4;
    EXPECT_TRUE(file.read(i) && file.read(f));
    EXPECT_TRUE(file.read(s1) && file.read(s2) && file.read(s3) && file.read(s4));
    EXPECT_EQ(i, -2);
    EXPECT_EQ(f, 1.5f);
    EXPECT_STREQ(s1.c_str(), "");
    EXPECT_STREQ(s3.c_str(), "abc");
    EXPECT_STREQ(s4.c_str(), "abcd");
    EXPECT_TRUE(file.readAlignData(2)); // skips "xy" as two bytes of padding
    QDArray<unsigned short> shortsBack;
    QDArray<QDVector3f> pointsBack;
    QDBoolArray bitsBack;
    EXPECT_TRUE(file.read(shortsBack) && file.read(pointsBack) && file.read(bitsBack));
    ASSERT_EQ(shortsBack.size(), 3);
    EXPECT_EQ(shortsBack[2], 0x0102);
    EXPECT_EQ(pointsBack[0].z(), 3.0f);
    ASSERT_EQ(bitsBack.size(), 10);
    for (int bit = 0; bit < 10; ++bit)
        EXPECT_EQ(bitsBack.get(bit), bit == 1 || bit == 9);
    EXPECT_FALSE(file.read(i));
}

TEST(QDBinaryFile, AlignmentPadsToTheNextMultipleOfFour)
{
    std::string path = testFolder() + "/pad.bin";
    QDBinaryFile file(path.c_str(), "wb");
    for (int n = 0; n < 6; ++n)
        EXPECT_TRUE(file.writeAlignData(n));
    file.close();
    EXPECT_EQ(readBytes(path).size(), 0u + 3 + 2 + 1 + 0 + 3);
}

TEST(QDBinaryFile, ClosedFileRefusesEverything)
{
    QDBinaryFile file;
    int i = 0;
    QDString s;
    QDArray<int> a;
    QDBoolArray bits;
    EXPECT_EQ(file.getFile(), QDDiskServer::s_invalidFile);
    EXPECT_FALSE(file.write(1) || file.write(1.0f) || file.read(i) || file.write(s) ||
                 file.read(s) || file.write(a) || file.read(a) || file.writeAsciiString("") ||
                 file.writeAlignData(1) || file.readAlignData(1) || file.write(bits) ||
                 file.read(bits));
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.open((testFolder() + "/missing/x.bin").c_str(), "rb"));
}

TEST(QDBinaryFile, CountsTheFileCannotHoldFailWithoutAllocating)
{
    std::string path = testFolder() + "/counts.bin";
    QDBinaryFile file;
    QDArray<QDVector3f> points;
    QDArray<int> ints;
    QDString text("kept?");
    int tail = 0;
    // 2^31-1 vectors would be 24 GiB; a negative count would be a huge read.
    writeBytes(path, le32(0x7FFFFFFF) + zeros(24) + le32(7));
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(points));
    EXPECT_EQ(points.size(), 0);
    EXPECT_FALSE(
        file.read(tail)); // the failed read leaves the position at the end, as a short read
    writeBytes(path, le32(0xFFFFFFFF) + le32(0x7FFFFFF0));
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(ints));
    writeBytes(path, le32(0x7FFFFFF0) + "ab");
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.read(text));
    EXPECT_TRUE(text.isNull());
    // A count that exactly fits is read, its last element included.
    writeBytes(path, le32(2) + le32(5) + le32(6));
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_TRUE(file.read(ints));
    ASSERT_EQ(ints.size(), 2);
    EXPECT_EQ(ints[1], 6);
}

TEST(QDTivFile, ContainerBytes)
{
    std::string path = testFolder() + "/blocks.tiv";
    QDTivFile file(path.c_str(), "wb");
    const char data[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_TRUE(file.writeTivFileHeader());
    EXPECT_TRUE(file.writeTivBlock(10001, 0.0f, 1, 12, data));
    EXPECT_TRUE(file.writeTivBlock(7, 2.0f, 1, 2, data));
    EXPECT_FALSE(file.writeTivBlock(7, 0.0f, 1, 0xFFFFFFF0u, data)); // size cannot say it
    EXPECT_TRUE(file.writeEndTivBlock());
    file.close();
    std::string expected = "Tivb" + zeros(28) + le32(10001) + le32(28) + le32(1) + le32(0) +
                           std::string(data, 12) + le32(7) + le32(20) + le32(1) + le32(0x40000000) +
                           std::string(data, 2) + zeros(2) + zeros(16);
    EXPECT_EQ(readBytes(path), expected);

    Tiv_Header header;
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_TRUE(file.readTivFileHeader());
    EXPECT_TRUE(file.readTivBlockHeader(header) && file.skipTivBlock(header));
    EXPECT_TRUE(file.readTivBlockHeader(header));
    EXPECT_EQ(header.tag, 7u);
    EXPECT_EQ(header.size, 20u);
    EXPECT_EQ(header.count, 1u);
    EXPECT_EQ(header.param, 2.0f);
    header.size = 15; // would step backwards
    EXPECT_FALSE(file.skipTivBlock(header));
    header.size = 0xFFFFFFFF; // past the end: stops there
    EXPECT_TRUE(file.skipTivBlock(header));
    EXPECT_FALSE(file.readTivBlockHeader(header));

    writeBytes(path, "Tiva" + zeros(28));
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.readTivFileHeader());
    EXPECT_TRUE(file.isOpen());
    writeBytes(path, "Tivb" + zeros(27));
    ASSERT_TRUE(file.open(path.c_str(), "rb"));
    EXPECT_FALSE(file.readTivFileHeader());
}

TEST(QDBinaryFile, FullDiskIsReportedAtTheLatestOnClose)
{
    QDBinaryFile file;
    if (!file.open("/dev/full", "wb")) GTEST_SKIP() << "no /dev/full";
    file.write(1); // buffered: the refusal surfaces when the stream is flushed
    EXPECT_FALSE(file.close());
}
