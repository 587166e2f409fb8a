"""nginx in front of a station, with the configuration of a real one: everything under one origin."""
import pathlib
import socket
import subprocess

from station import PATIENCE, eventually

CONFIGURATION = pathlib.Path(__file__).parents[3] / "packaging/nginx-webbackend.conf"
PORT = 80
ORIGIN = "http://127.0.0.1"
EVENTS = "ws://127.0.0.1/events"
REST = f"{ORIGIN}/api"
UPLOAD = f"{ORIGIN}/upload"

MAIN = """
pid {directory}/nginx.pid;
error_log {directory}/error.log;
daemon off;
master_process off;
events {{}}
http {{
    access_log off;
    default_type text/html;
    client_body_temp_path {directory}/body;
    proxy_temp_path {directory}/proxy;
    fastcgi_temp_path {directory}/fastcgi;
    uwsgi_temp_path {directory}/uwsgi;
    scgi_temp_path {directory}/scgi;
    server {{
        listen {port};
        root {directory}/pages;
        include {configuration};
    }}
}}
"""


class Proxy:
    """Serves the pages that are written to `pages`, and the station behind them."""

    def __init__(self, nginx, directory):
        """:param directory: an empty one, for all that nginx writes"""
        self.directory = pathlib.Path(directory)
        self.pages = self.directory / "pages"
        self.pages.mkdir()
        main = self.directory / "nginx.conf"
        main.write_text(MAIN.format(directory=self.directory, configuration=CONFIGURATION, port=PORT))
        self.program = subprocess.Popen([nginx, "-c", main, "-e", self.directory / "error.log"])
        eventually(lambda: socket.create_connection(("127.0.0.1", PORT)).close() is None, "the proxy listens")

    def close(self):
        self.program.terminate()
        self.program.wait(PATIENCE)
