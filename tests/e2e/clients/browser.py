"""A headless browser in front of a station."""
from selenium import webdriver

from station import PATIENCE, REST


class Browser:
    """Chromium on a page, by default one of the REST port, which is the origin of its requests."""

    def __init__(self, profile, page=f"{REST}/auth/status"):
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                         f"--user-data-dir={profile}"):
            options.add_argument(argument)
        self.driver = webdriver.Chrome(options=options)
        self.driver.set_script_timeout(PATIENCE)
        self.driver.get(page)

    def fetch(self, method, path, body=None):
        """Status and text of the answer to a request of the page."""
        return tuple(self.driver.execute_async_script(
            """
            const [method, path, body, done] = arguments;
            const options = {method};
            if (body !== null) {
                options.headers = {"Content-Type": "application/json"};
                options.body = JSON.stringify(body);
            }
            fetch(path, options).then(async answer => done([answer.status, await answer.text()]),
                                      error => done([0, String(error)]));
            """,
            method, path, body))

    def cookie(self):
        return self.driver.get_cookie("sessionid")

    def quit(self):
        self.driver.quit()
