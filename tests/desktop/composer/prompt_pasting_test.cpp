#include <gmock/gmock.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

#include "tests/desktop/composer/composer_test.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;

TEST_F(Composer, takesFilesAndNoPicturesFromTheClipboard) {
  open(newConversation());
  type("see");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  QClipboard* const clipboard = QGuiApplication::clipboard();
  const auto paste = [&] { return composer->takeKey(Qt::Key_V, static_cast<int>(Qt::ControlModifier)); };

  clipboard->setText(QStringLiteral("words"));
  EXPECT_FALSE(paste()) << "the field's";
  clipboard->setImage(QImage(2, 2, QImage::Format_RGB32));
  EXPECT_TRUE(paste());
  EXPECT_EQ(refusal(), "Images cannot be sent to Claude Code yet; drop a file instead.");
  int pasted = 0;
  QObject::connect(&workbench.window(), &desktop::DesktopWindow::filesDropped, composer.get(),
                   [&](const QList<QUrl>& files) {
                     composer->attach(files);
                     ++pasted;
                   });
  auto* const files = new QMimeData;
  files->setUrls({QUrl(QStringLiteral("https://example.test/a")),
                  QUrl::fromLocalFile(QString::fromStdString(project.path + "/src/a.cpp"))});
  clipboard->setMimeData(files);
  EXPECT_TRUE(paste());
  EXPECT_TRUE(paste()) << "once is enough";
  ASSERT_TRUE(until([&] { return pasted == 2; }));
  EXPECT_EQ(composer->attachments(), QStringList{QStringLiteral("src/a.cpp")});

  std::filesystem::create_directory(workbench.folder() / "tides");
  auto* const folder = new QMimeData;
  folder->setUrls({QUrl::fromLocalFile(QString::fromStdString((workbench.folder() / "tides").string()))});
  clipboard->setMimeData(folder);
  EXPECT_TRUE(paste());
  EXPECT_TRUE(until([&] { return await(application.projects().projects()).size() == 2; })) << "a folder is a project";
  EXPECT_EQ(pasted, 2);
}

TEST_F(Composer, keepsALongTextOutOfTheField) {
  const ConversationId conversation = newConversation();
  open(conversation);
  type("What is wrong?");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  const std::string log(1'000'000, 'x');
  QGuiApplication::clipboard()->setText(QString::fromStdString(log));
  EXPECT_TRUE(composer->takeKey(Qt::Key_V, static_cast<int>(Qt::ControlModifier)));
  EXPECT_EQ(text(), "What is wrong?");
  EXPECT_THAT(composer->longText().toStdString(), HasSubstr("1.0 MB"));
  const std::string whole = "What is wrong?\n\n" + log;
  EXPECT_TRUE(untilDraft(conversation, whole));

  composer->removeLongText();
  EXPECT_EQ(composer->longText(), QString());
  const auto* notices = workbench.window().notices();
  const int id = notices->data(notices->index(notices->rowCount() - 1), desktop::Notices::idRole).toInt();
  workbench.window().notices()->accept(id);
  EXPECT_TRUE(until([&] { return !composer->longText().isEmpty(); }));
  composer->showLongText();
  EXPECT_EQ(text(), whole);
}

}  // namespace
}  // namespace ravant::test
