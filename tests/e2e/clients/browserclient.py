"""A browser's page as a client of the event server."""
from browser import Browser
from eventclients import SILENCE, Connection, Heard
from station import EVENTS, PASSWORD


class PageConnection(Connection):
    """A WebSocket of the page that a browser shows."""

    def __init__(self, driver, url):
        self.driver = driver
        self.closed = False
        self.number = driver.execute_script(
            """
            const socket = new WebSocket(arguments[0]);
            const heard = [];
            let wake = () => {};
            const tell = (...record) => {
                heard.push([performance.now() / 1000, ...record]);
                wake();
            };
            socket.onopen = () => tell("open");
            socket.onmessage = event => tell("message", event.data);
            socket.onclose = event => tell("close", event.code, event.reason);
            socket.next = (patience, done) => {
                const finish = () => {
                    clearTimeout(timer);
                    wake = () => {};
                    done(heard.shift() ?? null);
                };
                const timer = setTimeout(finish, patience * 1000);
                wake = finish;
                if (heard.length > 0) {
                    finish();
                }
            };
            window.sockets ??= [];
            return window.sockets.push(socket) - 1;
            """, url)

    def send(self, text):
        self.driver.execute_script("window.sockets[arguments[0]].send(arguments[1])", self.number, text)

    def next(self, patience=SILENCE):
        """What is heard next, or None if nothing is for so many seconds."""
        heard = self.driver.execute_async_script("window.sockets[arguments[0]].next(arguments[1], arguments[2])",
                                                 self.number, patience)
        if heard is None:
            return None
        seconds, kind, *details = heard
        self.closed |= kind == "close"
        return Heard(seconds, kind, details)

    def close(self):
        self.driver.execute_script("window.sockets[arguments[0]].close(1000)", self.number)
        while not self.closed:
            assert self.next() is not None


class BrowserClient(Browser):
    """A page of headless Chromium, which also logs in and holds the cookie."""

    def log_in(self):
        assert self.fetch("POST", "/auth/login", {"Password": PASSWORD})[0] == 204

    def log_out(self):
        """The cookie stays."""
        assert self.fetch("POST", "/auth/logout")[0] == 204

    def forget_cookie(self):
        self.driver.delete_all_cookies()

    def connect(self, url=EVENTS):
        return PageConnection(self.driver, url)
