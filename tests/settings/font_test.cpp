// The application font: weight table, lazy registration of the shipped faces and the
// fall-back to the system font.
#include "settings/AppFont.h"

#include "support/TempDir.h"

#include <QFile>
#include <QFontDatabase>
#include <QFontInfo>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

QString styleOf(const QString& faceName) {
    return faceName.mid(faceName.lastIndexOf(QLatin1Char('-')) + 1);
}

QString squeezed(QString s) {
    s.remove(QLatin1Char(' '));
    return s.toLower();
}

QByteArray shippedFace(const QString& name) {
    QFile file(AppFont::resourceDirectory() + QLatin1Char('/') + name + QStringLiteral(".ttf"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

} // namespace

TEST(AppFontTest, WeightTableMapsEveryStandardWeightToItsFace) {
    // Only the rows where the weight's own name differs from the face's, and the ends.
    const std::pair<QFont::Weight, const char*> table[] = {
        {QFont::Thin, "Saira-Thin"},        {QFont::ExtraLight, "Saira-ExtraLight"},
        {QFont::Light, "Saira-ExtraLight"}, {QFont::Normal, "Saira-Regular"},
        {QFont::DemiBold, "Saira-Bold"},    {QFont::Black, "Saira-Black"},
    };
    for (const auto& [weight, face] : table)
        EXPECT_EQ(AppFont::faceName(weight), QString::fromLatin1(face)) << int(weight);

    // Exact match only: neighbours of the table's weights are not rounded to a face.
    for (int weight : {0, 1, 99, 101, 350, 450, 599, 650, 901, 1000})
        EXPECT_FALSE(AppFont::faceName(weight).has_value()) << weight;

    // The light face is shipped and registered but never chosen by weight.
    EXPECT_TRUE(AppFont::resourceNames().contains(QStringLiteral("Saira-Light")));
    for (int weight = 0; weight <= 1000; ++weight)
        EXPECT_NE(AppFont::faceName(weight), QStringLiteral("Saira-Light")) << weight;
}

TEST(AppFontTest, ShippedResourcesHoldTheEightFacesAndTheirLicence) {
    ASSERT_EQ(AppFont::resourceNames().size(), 8);
    sairaFontOf(12, QFont::Normal); // makes the resources available
    for (const QString& name : AppFont::resourceNames())
        EXPECT_GT(shippedFace(name).size(), 10000) << name.toStdString();
    QFile licence(AppFont::resourceDirectory() + QStringLiteral("/OFL.txt"));
    ASSERT_TRUE(licence.open(QIODevice::ReadOnly));
    const QByteArray text = licence.readAll();
    EXPECT_TRUE(text.contains("SIL OPEN FONT LICENSE Version 1.1"));
    EXPECT_TRUE(text.contains("Saira"));
}

TEST(AppFontTest, TableWeightsDrawWithTheirSairaFaceAtTheGivenSize) {
    for (QFont::Weight weight :
         {QFont::ExtraLight, QFont::Thin, QFont::Light, QFont::Normal, QFont::Medium,
          QFont::DemiBold, QFont::Bold, QFont::ExtraBold, QFont::Black}) {
        const QFont font = sairaFontOf(15, weight);
        const QFontInfo info(font);
        EXPECT_EQ(info.family(), QStringLiteral("Saira")) << int(weight);
        EXPECT_EQ(squeezed(info.styleName()), squeezed(styleOf(*AppFont::faceName(weight))))
            << int(weight) << " drew " << info.styleName().toStdString();
        EXPECT_EQ(font.pixelSize(), 15);
    } // Thin and extra light share a weight class in the files, yet draw differently.
    EXPECT_EQ(sairaFontOf(10.6, QFont::Medium).pixelSize(), 11);
    EXPECT_EQ(sairaFontOf(0, QFont::Medium).pixelSize(), 1);
}

TEST(AppFontTest, WeightOutsideTheTableGivesTheSystemFontOfThatSizeAndWeight) {
    sairaFontOf(12, QFont::Bold); // Saira is registered from here on
    const int before = AppFont::registrationCount();
    const QFont font = sairaFontOf(13, static_cast<QFont::Weight>(350));
    EXPECT_EQ(font.family(), QFontDatabase::systemFont(QFontDatabase::GeneralFont).family());
    EXPECT_EQ(font.weight(), 350);
    EXPECT_EQ(font.pixelSize(), 13);
    // A weight outside the table never touches the face files.
    EXPECT_EQ(AppFont::registrationCount(), before);
    // Once a face is found, it is not registered again.
    sairaFontOf(12, QFont::Black);
    EXPECT_EQ(AppFont::registrationCount(), before);
}

TEST(AppFontTest, RegistrationSkipsMissingAndBrokenFiles) {
    sairaFontOf(12, QFont::Normal);
    TempDir dir;
    dir.write("Saira-Bold.ttf", shippedFace("Saira-Bold"));
    dir.write("Saira-Thin.ttf", shippedFace("Saira-Thin"));
    dir.write("Saira-Black.ttf", "not a font at all");
    dir.write("Saira-SemiBold.ttf", shippedFace("Saira-Bold"));
    EXPECT_EQ(AppFont::registerFaces(dir.path()), 2);
    EXPECT_EQ(AppFont::registerFaces(dir.path() + QStringLiteral("/absent")), 0);
}

TEST(AppFontTest, FaceNamesThatNameNoInstalledFaceYieldNothing) {
    sairaFontOf(12, QFont::Normal);
    EXPECT_TRUE(AppFont::face(QStringLiteral("Saira-Bold"), 12).has_value());
    for (const char* name : {"Saira-Hairline", "NoSuchFamilyQx-Bold", "Saira", "Saira-", "-Bold"})
        EXPECT_FALSE(AppFont::face(QString::fromLatin1(name), 12).has_value()) << name;
}

// Runs in a fresh process, where nothing has registered the faces yet.
TEST(AppFontDeathTest, MissingFilesFallBackToTheSystemFontAndRegisterAgainNextTime) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    if (QFontDatabase::families().contains(QStringLiteral("Saira")) &&
        AppFont::registrationCount() == 0)
        GTEST_SKIP() << "Saira is installed on this machine";
    EXPECT_EXIT(
        {
            TempDir empty;
            const int before = AppFont::registrationCount();
            const QFont first = AppFont::fontOf(14, QFont::Bold, empty.path());
            const QFont second = AppFont::fontOf(14, QFont::Bold, empty.path());
            const bool ok = first.family() != QStringLiteral("Saira") &&
                            first.family() == second.family() && first.weight() == QFont::Bold &&
                            first.pixelSize() == 14 && AppFont::registrationCount() == before + 2;
            _exit(ok ? 0 : 1); // skips the leak check of the child
        },
        ::testing::ExitedWithCode(0), "");
}
