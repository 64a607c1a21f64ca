// The application font: weight table, lazy registration of the shipped faces and the
// fall-back to the system font.
#include "settings/AppFont.h"
#include "support/TempDir.h"

#include <QFontDatabase>
#include <QFontInfo>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

QByteArray shippedFace(const QString& name) {
    QFile file(AppFont::resourceDirectory() + "/" + name + ".ttf");
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Exact weights only: neighbours are not rounded to a face, and the shipped light face is
// never chosen by weight. Each face draws as itself at the given pixel size (thin and extra
// light share a weight class in the files, yet draw differently).
TEST(AppFontTest, StandardWeightsDrawWithTheirShippedFaceAtTheGivenSize) {
    const std::pair<QFont::Weight, const char*> table[] = {
        {QFont::Thin, "Saira-Thin"},        {QFont::ExtraLight, "Saira-ExtraLight"},
        {QFont::Light, "Saira-ExtraLight"}, {QFont::Normal, "Saira-Regular"},
        {QFont::Medium, "Saira-Medium"},    {QFont::DemiBold, "Saira-Bold"},
        {QFont::Bold, "Saira-Bold"},        {QFont::ExtraBold, "Saira-ExtraBold"},
        {QFont::Black, "Saira-Black"}};
    for (const auto& [weight, face] : table) {
        ASSERT_EQ(AppFont::faceName(weight), QString(face)) << int(weight);
        const QFont font = sairaFontOf(15, weight);
        const QFontInfo info(font);
        EXPECT_EQ(info.family(), "Saira") << int(weight);
        EXPECT_EQ(info.styleName().remove(' ').toLower(), QString(face).section('-', 1).toLower())
            << int(weight) << " drew " << qPrintable(info.styleName());
        EXPECT_EQ(font.pixelSize(), 15);
    }
    for (int weight : {0, 1, 99, 101, 350, 450, 599, 650, 901, 1000})
        EXPECT_FALSE(AppFont::faceName(weight).has_value()) << weight;
    EXPECT_TRUE(AppFont::resourceNames().contains("Saira-Light"));
    for (int weight = 0; weight <= 1000; ++weight)
        EXPECT_NE(AppFont::faceName(weight), "Saira-Light") << weight;
    EXPECT_EQ(sairaFontOf(10.6, QFont::Medium).pixelSize(), 11);
    EXPECT_EQ(sairaFontOf(0, QFont::Medium).pixelSize(), 1);
    QFile licence(AppFont::resourceDirectory() + "/OFL.txt");
    ASSERT_TRUE(licence.open(QIODevice::ReadOnly));
    EXPECT_TRUE(licence.readAll().contains("SIL OPEN FONT LICENSE Version 1.1"));
}

// Outside the table: the system font of that size and weight, without touching the face
// files; once the faces are registered they are not registered again.
TEST(AppFontTest, WeightOutsideTheTableGivesTheSystemFont) {
    sairaFontOf(12, QFont::Bold);
    const int before = AppFont::registrationCount();
    const QFont font = sairaFontOf(13, static_cast<QFont::Weight>(350));
    EXPECT_EQ(font.family(), QFontDatabase::systemFont(QFontDatabase::GeneralFont).family());
    EXPECT_EQ(font.weight(), 350);
    EXPECT_EQ(font.pixelSize(), 13);
    sairaFontOf(12, QFont::Black);
    EXPECT_EQ(AppFont::registrationCount(), before);
}

TEST(AppFontTest, RegistrationSkipsMissingAndBrokenFilesAndUnknownFaceNames) {
    sairaFontOf(12, QFont::Normal);
    TempDir dir;
    dir.write("Saira-Bold.ttf", shippedFace("Saira-Bold"));
    dir.write("Saira-Thin.ttf", shippedFace("Saira-Thin"));
    dir.write("Saira-Black.ttf", "not a font at all");
    dir.write("Saira-SemiBold.ttf", shippedFace("Saira-Bold"));
    EXPECT_EQ(AppFont::registerFaces(dir.path()), 2);
    EXPECT_EQ(AppFont::registerFaces(dir.path() + "/absent"), 0);
    EXPECT_TRUE(AppFont::face("Saira-Bold", 12).has_value());
    for (const char* name : {"Saira-Hairline", "NoSuchFamilyQx-Bold", "Saira", "Saira-", "-Bold"})
        EXPECT_FALSE(AppFont::face(name, 12).has_value()) << name;
}

// Runs in a fresh process, where nothing has registered the faces yet.
TEST(AppFontDeathTest, MissingFilesFallBackToTheSystemFontAndRegisterAgainNextTime) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    if (QFontDatabase::families().contains("Saira") && AppFont::registrationCount() == 0)
        GTEST_SKIP() << "Saira is installed on this machine";
    EXPECT_EXIT(
        {
            TempDir empty;
            const int before = AppFont::registrationCount();
            const QFont first = AppFont::fontOf(14, QFont::Bold, empty.path());
            const QFont second = AppFont::fontOf(14, QFont::Bold, empty.path());
            const bool ok = first.family() != "Saira" && first.family() == second.family() &&
                            first.weight() == QFont::Bold && first.pixelSize() == 14 &&
                            AppFont::registrationCount() == before + 2;
            _exit(ok ? 0 : 1); // skips the leak check of the child
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
