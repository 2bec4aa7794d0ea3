// The vignette viewer and the sample chart on a project written by the test.
#include "exports/ExportFixture.h"
#include "processing/DlgSampleFigure.h"
#include "processing/DlgViewVignettes.h"
#include "processing/SampleDataProcessor.h"
#include "project/Project.h"

#include <QLabel>
#include <QListWidget>

#include <qcustomplot.h>

TEST(ExportsGuiTest, ViewerShowsTheRangePagedAndTheChartIsSaved) {
    const QString path = exporttest::vignette_project();
    Project project;
    ASSERT_TRUE(project.Load(path, true));
    {
        DlgViewVignettes viewer(project, QStringLiteral("s1"));
        EXPECT_EQ(viewer.message(), QString());
        EXPECT_EQ(viewer.vignetteCount(), 2);
        EXPECT_EQ(viewer.pageLabel()->text(), QStringLiteral("Page 1 of 1"));
        ASSERT_EQ(viewer.grid()->count(), 2);
        // Image 2 of a profile from 0 to 10 dbar in 6 images; 20 x 16 pixels of 73 um.
        EXPECT_EQ(viewer.grid()->item(0)->text(), QStringLiteral("4.0 m\n1.46 x 1.17 mm"));
        EXPECT_FALSE(viewer.grid()->item(0)->icon().isNull());
        EXPECT_EQ(viewer.grid()->item(1)->text(), QStringLiteral("6.0 m\nunreadable"));
    }

    ASSERT_TRUE(SampleDataProcessor(project).ProcessData(QStringLiteral("s1")));
    DlgSampleFigure figure(project, QStringLiteral("s1"));
    ASSERT_TRUE(figure.isLoaded()) << figure.error().toStdString();
    EXPECT_EQ(figure.plot()->plottableCount(), 2); // abundance and biovolume
    const QString pdf = path + QStringLiteral("/chart.pdf");
    const QString png = path + QStringLiteral("/chart.png");
    ASSERT_TRUE(figure.saveTo(pdf));
    ASSERT_TRUE(figure.saveTo(png));
    EXPECT_TRUE(kelvotest::read_file(pdf).startsWith("%PDF"));
    EXPECT_TRUE(kelvotest::read_file(png).startsWith("\x89PNG"));

    kelvotest::write_file(path + QStringLiteral("/raw/S1/images.zip"), "not a zip");
    EXPECT_EQ(DlgViewVignettes(project, QStringLiteral("s1")).message(),
              QStringLiteral("Error while opening images zip file\n"));
}
