// A small window at a place of the screen, from which files can be dragged: `drag_source X Y FILE...`.

#include <QDrag>
#include <QGuiApplication>
#include <QMimeData>
#include <QMouseEvent>
#include <QRasterWindow>
#include <QUrl>

namespace {

class DragSource : public QRasterWindow {
 public:
  explicit DragSource(QList<QUrl> files) : files_(std::move(files)) {}

 protected:
  void mousePressEvent(QMouseEvent* /*event*/) override {
    auto* const drag = new QDrag(this);
    auto* const data = new QMimeData;
    data->setUrls(files_);
    drag->setMimeData(data);
    drag->exec(Qt::CopyAction);
  }

 private:
  QList<QUrl> files_;
};

}  // namespace

int main(int argc, char** argv) {
  const QGuiApplication application(argc, argv);
  const QStringList arguments = QGuiApplication::arguments();
  QList<QUrl> files;
  for (const QString& path : arguments.mid(3)) files.append(QUrl::fromLocalFile(path));
  DragSource source(files);
  source.setFlag(Qt::FramelessWindowHint);
  source.setTitle(QStringLiteral("drag source"));
  source.setGeometry(arguments[1].toInt(), arguments[2].toInt(), 100, 100);
  source.show();
  return QGuiApplication::exec();
}
