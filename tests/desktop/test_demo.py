import signal
import unittest
from datetime import datetime, timezone

from demo import Demo
from desktop import Desktop, marked_processes, until


def setUpModule():
    global DESKTOP
    DESKTOP = unittest.enterModuleContext(Desktop())


class DemoTest(unittest.TestCase):
    def test_it_comes_to_a_board_with_something_of_everything(self):
        before = len(DESKTOP.messages('Notify'))
        demo = self.enterContext(Demo(DESKTOP))
        until(lambda: demo.status('登录页在手机上太挤，改成两栏布局') == 'waiting', 'the last event has arrived')
        now = datetime.now(timezone.utc)
        self.assertEqual({title: (line['source'], line['status'], line.get('needsApproval', False),
                                  int((now - datetime.fromisoformat(line['updatedAt'])).total_seconds() / 60))
                          for title, line in demo.tasks().items()},
                         {'把安装说明翻译成英文': ('Codex', 'waiting', False, 95),
                          '把旧库里的订单导入新表': ('Claude', 'running', False, 31),
                          '列出没有用到的图片': ('Claude', 'done', False, 0),
                          '先备份旧账单，再迁移数据': ('Claude', 'running', False, 0),
                          '登录页在手机上太挤，改成两栏布局': ('Claude', 'waiting', False, 0),
                          '给结算页补上单元测试': ('Codex', 'waiting', False, 0),
                          '把测试环境升级到 PostgreSQL 16': ('Claude', 'waiting', True, 0)})
        until(lambda: demo.window() and demo.window('mini board'), 'both boards are on the screen')
        demo.find('panel', lambda name: '把测试环境升级到 PostgreSQL 16 等你确认：Bash — terraform apply' in name)
        self.assertIn('，在跑，但 31 分钟没动静了，可能卡住了，', demo.row('把旧库里的订单导入新表').name)
        until(lambda: demo.tooltip() == 'Plumtide：1 条等你处理', 'the item counts the approval')
        until(lambda: [message[2] for message in DESKTOP.messages('Notify')[before:]] == ['shop-web', 'infra'],
              'the two requests are notified')

    def test_it_leaves_nothing_behind(self):
        endings = (('Enter', lambda demo: demo.script.stdin.write(b'\n') and demo.script.stdin.flush(), 0),
                   ('Ctrl-C', lambda demo: demo.script.send_signal(signal.SIGINT), 130),
                   ('SIGTERM', lambda demo: demo.script.terminate(), 143),
                   ('a closed terminal', lambda demo: demo.script.send_signal(signal.SIGHUP), 129),
                   ('Plumtide is quit', lambda demo: demo.press('button', '退出'), 0))
        for name, finish, status in endings:
            with self.subTest(name), Demo(DESKTOP) as demo:
                finish(demo)
                self.assertEqual(demo.script.wait(10), status)
                self.assertEqual(marked_processes(demo.mark), [])
                self.assertEqual([*demo.temporary.iterdir(), *demo.user_home.iterdir()], [])


if __name__ == '__main__':
    unittest.main()
