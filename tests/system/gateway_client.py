"""Generates a client from the gateway's description of its API, and drives it.

    gateway_client.py AVOIPGW

Starts the gateway on a socket of a folder of its own. Every response is compared with its schema in
the description; a call that the description does not know, or a status that it does not promise,
fails. Exit status: 0 when all went as described.
"""

import http.client
import json
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.parse

from jsonschema import Draft202012Validator

PATIENCE_S = 60


class UnixConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("localhost", timeout=PATIENCE_S)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(PATIENCE_S)
        self.sock.connect(self.path)


class Client:
    """Has a method for each operation of the description, by its operationId."""

    def __init__(self, path):
        self._path = path
        self._root = json.loads(self._request("GET", "/api/v1/openapi.json")[2])
        self.schemas = self._root["components"]["schemas"]
        self.called = set()
        self.operations = {}
        for route, methods in self._root["paths"].items():
            for method, operation in methods.items():
                self.operations[operation["operationId"]] = (method.upper(), route, operation)

    def __getattr__(self, name):
        method, route, operation = self.operations[name]

        def call(*parts, body=None, token=None, **query):
            self.called.add(name)
            path = route
            for part in parts:
                path = re.sub(r"\{\w+\}", urllib.parse.quote(part, safe=""), path, count=1)
            known = {each["name"] for each in operation["parameters"] if each["in"] == "query"}
            assert set(query) <= known, (name, query)
            if query:
                path += "?" + urllib.parse.urlencode(query)
            if body is not None:
                self._check(operation["requestBody"]["content"]["application/json"], body)
            return self._answer(operation, *self._request(method, path, body, token))

        return call

    def _request(self, method, path, body=None, token=None):
        connection = UnixConnection(self._path)
        headers = {"Authorization": "Bearer " + token} if token else {}
        if body is not None:
            headers["Content-Type"] = "application/json"
            body = json.dumps(body)
        connection.request(method, path, body, headers)
        answer = connection.getresponse()
        return answer.status, answer.headers.get_content_type(), answer.read()

    def _answer(self, operation, status, media, text):
        responses = operation["responses"]
        described = responses.get(str(status))
        if described is None:
            assert status >= 400, (operation["operationId"], status, text)
            described = responses["default"]
        if "content" not in described:
            assert text == b"", (operation["operationId"], text)
            return status, None
        content = {key.split(";")[0]: value for key, value in described["content"].items()}[media]
        if not media.endswith("json"):
            return status, text.decode()
        value = json.loads(text)
        self._check(content, value)
        return status, value

    def _check(self, content, value):
        schema = {**content["schema"], "components": self._root["components"]}
        Draft202012Validator(schema).validate(value)


# The calls whose answer says by its status whether something is new.
MAKING = {"putPreset", "putLock", "putRoom", "putWall", "addImage"}


def check_description(client):
    """What the description says beyond what the calls show."""
    check_names(client.schemas)
    facts = client.schemas["EdidFacts"]
    assert set(facts["required"]) == set(facts["properties"]), facts
    assert facts["properties"]["preferred_mode"] == {"type": ["string", "null"]}, facts
    both = {name for name, (_, _, operation) in client.operations.items()
            if {"200", "201"} <= set(operation["responses"])}
    assert both == MAKING, both
    made = {name for name, (_, _, operation) in client.operations.items()
            if "201" in operation["responses"]}
    assert made == MAKING | {"addUser", "addToken"}, made
    assert set(client.operations["metrics"][2]["responses"]["200"]["content"]) == {
        "text/plain;version=0.0.4", "application/openmetrics-text;version=1.0.0"}
    assert [(each["name"], each["in"], each["required"])
            for each in client.operations["events"][2]["parameters"]] == [
                ("Last-Event-ID", "header", False)]


def check_names(schema):
    """Members are called in snake_case, at any depth."""
    if isinstance(schema, dict):
        for name in schema.get("properties", {}):
            assert re.fullmatch(r"[a-z0-9_]+", name), name
        for part in schema.values():
            check_names(part)
    elif isinstance(schema, list):
        for part in schema:
            check_names(part)


def drive(client):
    for name in ("live", "metrics", "system", "devices", "routes", "presets", "locks", "rooms",
                 "users", "tokens", "walls", "images", "jobs", "log", "description", "ranges"):
        assert getattr(client, name)()[0] == 200, name
    assert client.ready()[0] == 503
    fps = next(each for each in client.ranges()[1]["parameters"]["encoder"]
               if each["name"] == "fps")
    assert (fps["kind"], fps["minimum"]) == ("number", 1), fps
    assert client.devices(type="decoder", online="true")[0] == 200
    assert client.device("rx/1")[0] == 404
    assert client.putPreset("Evening", body={"routes": {"video": {"rx1": None}}})[0] == 201
    assert client.putPreset("Evening", body={"routes": {}, "note": "n"})[0] == 200
    assert client.preset("Evening")[1]["note"] == "n"
    assert client.removePreset("Evening") == (204, None)
    assert client.putRoom("Hall", body={"decoders": ["rx1"], "encoders": []})[0] == 201
    assert client.room("Hall")[1]["decoders"] == ["rx1"]
    status, made = client.addToken(body={"name": "t", "role": "admin"})
    assert status == 201
    status, user = client.addUser(body={"name": "u", "role": "admin", "password": "secret"},
                                  token=made["token"])
    assert (status, user) == (201, {"name": "u", "role": "admin"})
    assert client.users()[0] == 401
    status, room = client.addToken(body={"name": "r", "role": "operator", "rooms": ["Hall"]},
                                   token=made["token"])
    assert (status, room["rooms"]) == (201, ["Hall"])
    assert client.session(token=room["token"])[1]["rooms"] == ["Hall"]
    assert client.removeRoom("Hall", token=made["token"])[0] == 204
    assert client.rooms(token=room["token"])[1]["rooms"] == []
    assert client.logIn(body={"token": room["token"]})[1]["user"] == "r"
    assert client.removeToken("r", token=made["token"])[0] == 204
    assert client.log(q="room-removal", token=made["token"])[1]["entries"][0]["target"] == "Hall"
    assert client.changeUser("u", body={"password": "other"}, token=made["token"])[0] == 200
    assert client.logIn(body={"user": "u", "password": "other"})[0] == 200
    assert client.session(token=made["token"])[1]["user"] == "t"
    assert client.removeUser("u", token=made["token"])[0] == 409
    assert client.log(limit=3, token=made["token"])[1]["entries"][0]["action"] == "log-in"
    assert client.removeToken("t", token=made["token"])[0] == 204


def listens(path):
    with socket.socket(socket.AF_UNIX) as probe:
        return probe.connect_ex(path) == 0


def main():
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "socket")
        with open(os.path.join(folder, "gateway.toml"), "w", encoding="utf-8") as file:
            file.write(f'data = "{folder}/data"\n[http]\nlisten = ["unix:{path}"]\n')
        with subprocess.Popen([sys.argv[1], "--config", file.name]) as gateway:
            try:
                end = time.monotonic() + PATIENCE_S
                while not listens(path) and time.monotonic() < end:
                    time.sleep(0.01)
                client = Client(path)
                check_description(client)
                drive(client)
                print(f"{len(client.called)} of {len(client.operations)} calls, as described")
            finally:
                gateway.send_signal(signal.SIGTERM)
                assert gateway.wait(PATIENCE_S) == 0


if __name__ == "__main__":
    main()
