#!/usr/bin/env python3
"""A service that speaks as much S3 as the image library needs, in memory, and misbehaves on demand.

Usage: s3_server.py [--port PORT] [--tls CERTIFICATE KEY]     prints its port and serves until it is killed

With --in-front-of ENDPOINT the objects are those of another service, which knows the same keys, and only trouble is made here.

Every signature is checked. Trouble is asked for by a JSON list sent with PUT to /-/trouble, of objects such as

    {"method": "PUT", "key": "names/", "what": "lose-answer", "skip": 2, "times": 1}

which is met by requests of that method whose path has the text of "key" in it. What there is: "500", "slow-down" and other answers
of HTTP that are not done; "lose-answer" does the work and cuts the connection; "reset" cuts it before; "cut-body" cuts it amid the
body of the answer; "hang" does not answer; "delay" answers so many "seconds" later; "late" hangs up and does the work two seconds
later; "ignore-condition" does the work whatever was demanded; "lose-race" waits for so many "changes" of the object by somebody
else, and then fails as Ceph's gateways do for whoever was later; "repeat" does the work twice, as a proxy does that got no answer,
and answers for the second time; "body" answers with the text of "body"; "gone" answers this one, and from then on is a machine that is
there no more: connections are cut, and no new one comes about or is refused.

GET /-/requests gives how many requests of which method there were; s3_service.py knows what else is behind /-/.
"""
import argparse
import collections
import contextlib
import datetime
import email.utils
import hashlib
import http.client
import http.server
import json
import re
import socket
import ssl
import struct
import sys
import threading
import time
import urllib.parse
from xml.sax.saxutils import escape

from request_signature import signature

ACCESS_KEY, SECRET_KEY, REGION = "TESTACCESSKEY", "test/secret+key", "test-region-1"
EXPIRED_KEY = "EXPIRED"
BUCKET = "images"
LONGEST_SKEW = 900


class Refusal(Exception):
    def __init__(self, status, code, message=""):
        super().__init__(code)
        self.status, self.code, self.message = status, code, message


class Objects:
    """Keys with their data, and what trouble is wanted."""

    def __init__(self):
        self.lock = threading.Lock()
        self.data = {}  # key -> (bytes, etag, time)
        self.trouble = []
        self.requests = {}
        self.changes = collections.Counter()  # by path
        self.credentials = (ACCESS_KEY, SECRET_KEY)

    def met_trouble(self, method, path):
        with self.lock:
            self.requests[method] = self.requests.get(method, 0) + 1
            for trouble in self.trouble:
                if trouble.get("method", method) != method or trouble.get("key", "") not in path or trouble.get("times", 1) == 0:
                    continue
                if trouble.get("skip", 0) > 0:
                    trouble["skip"] -= 1
                    continue
                trouble["times"] = trouble.get("times", 1) - 1
                trouble["is_met"] = True
                return trouble
        return None

    def put(self, key, body, if_none_match=None, if_match=None):
        with self.lock:
            there = self.data.get(key)
            if (if_none_match == "*" and there) or (if_match and not (there and if_match == demanded_form(there[1]))):
                raise Refusal(412, "PreconditionFailed")
            etag = '"' + hashlib.md5(body).hexdigest() + '"'
            self.data[key] = (body, etag, time.time())
            return etag

    def get(self, key):
        with self.lock:
            if key not in self.data:
                raise Refusal(404, "NoSuchKey")
            return self.data[key]

    def remove(self, key):
        with self.lock:
            self.data.pop(key, None)

    def list(self, prefix, delimiter, after, most):
        """The keys and folded prefixes behind `after`, and whether there are more."""
        with self.lock:
            keys = sorted(key for key in self.data if key.startswith(prefix) and key > after)
            found, folded = [], []
            for key in keys:
                end = key.find(delimiter, len(prefix)) if delimiter else -1
                if end >= 0:
                    common = key[:end + 1]
                    if common in folded or common <= after:
                        continue
                    if len(found) + len(folded) == most:
                        return found, folded, True
                    folded.append(common)
                    continue
                if len(found) + len(folded) == most:
                    return found, folded, True
                found.append((key, *self.data[key]))
            return found, folded, False


def demanded_form(etag):
    """Of an ETag in If-Match."""
    return etag.strip('"') if takes_bare_etags else etag


def check_signature(method, raw_path, query, headers, body):
    """The signature of a request, computed from what has arrived."""
    authorization = re.fullmatch(r"AWS4-HMAC-SHA256 Credential=([^,]+), ?SignedHeaders=([^,]+), ?Signature=([0-9a-f]{64})",
                                 headers.get("authorization", ""))
    if not authorization:
        raise Refusal(403, "AccessDenied", "no signature")
    credential, names, told = authorization.groups()
    access_key, day, region, service, end = credential.split("/")
    known_key, secret_key = objects.credentials
    if access_key != known_key:
        raise Refusal(400, "ExpiredToken") if access_key == EXPIRED_KEY else Refusal(403, "InvalidAccessKeyId")
    if (region, service, end) != (REGION, "s3", "aws4_request"):
        raise Refusal(400, "AuthorizationHeaderMalformed", f"the region {region} is wrong; expecting {REGION}")
    stamp = headers.get("x-amz-date", "")
    sent = datetime.datetime.strptime(stamp, "%Y%m%dT%H%M%SZ").replace(tzinfo=datetime.timezone.utc).timestamp()
    if abs(time.time() - sent) > LONGEST_SKEW or not stamp.startswith(day):
        raise Refusal(403, "RequestTimeTooSkewed")
    signed = names.split(";")
    for name in headers:
        if (name == "host" or name.startswith("x-amz-")) and name not in signed:
            raise Refusal(403, "AccessDenied", f"{name} is not signed")
    content_hash = hashlib.sha256(body).hexdigest()
    if headers.get("x-amz-content-sha256") != content_hash:
        raise Refusal(400, "XAmzContentSHA256Mismatch")
    if signature(method, raw_path, query, headers, signed, region, secret_key) != told:
        raise Refusal(403, "SignatureDoesNotMatch", "the signature does not match")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True
    wbufsize = 1 << 16

    def log_message(self, *_):
        pass

    def hang_up(self):
        # A reset, as from a machine that has gone.
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.close_connection = True

    def answer(self, status, body=b"", cut=False, **headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Length", str(len(body)))
        if self.server.is_gone:
            self.send_header("Connection", "close")
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body[:len(body) // 2] if cut else body)
        self.wfile.flush()
        if cut:
            self.hang_up()

    def refuse(self, status, code, message=""):
        self.answer(status, f"<?xml version='1.0'?><Error><Code>{escape(code)}</Code><Message>{escape(message)}</Message></Error>".encode())

    def serve(self):
        body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
        raw_path, _, raw_query = self.path.partition("?")
        query = urllib.parse.parse_qsl(raw_query, keep_blank_values=True)
        path = urllib.parse.unquote(raw_path)
        try:
            if path.startswith("/-/"):
                return self.control(path, body)
            self.met = objects.met_trouble(self.command, path) or {}
            what = self.met.get("what")
            if what == "hang":
                time.sleep(self.met.get("seconds", 60))
                return self.hang_up()
            if what == "reset":
                return self.hang_up()
            if what == "gone":
                self.server.go(self.connection)
            if what == "delay":
                time.sleep(self.met["seconds"])
            headers = {name.lower(): value for name, value in self.headers.items()}
            check_signature(self.command, raw_path, query, headers, body)
            if what == "repeat":
                self.do_late(path, headers, body)
            if what == "late":
                threading.Timer(2, self.do_late, (path, headers, body)).start()
                return self.hang_up()
            if what == "body":
                return self.answer(self.met.get("status", 200), self.met["body"].encode())
            if what == "slow-down":
                raise Refusal(503, "SlowDown", "reduce your request rate")
            if what and what.isdigit():
                raise Refusal(int(what), self.met.get("code", "InternalError"), "trouble on demand")
            if what == "lose-race":
                wanted = objects.changes[path] + self.met["changes"]
                while objects.changes[path] < wanted:
                    time.sleep(0.01)
                raise Refusal(500, "UnknownError")
            if what == "ignore-condition":
                headers = {name: value for name, value in headers.items() if not name.startswith("if-")}
            self.do(path, dict(query), headers, body)
        except Refusal as refusal:
            self.refuse(refusal.status, refusal.code, refusal.message)

    do_GET = do_PUT = do_DELETE = do_HEAD = do_POST = serve

    def control(self, path, body):
        with objects.lock:
            if path == "/-/trouble":
                objects.trouble = json.loads(body)
            elif path == "/-/data":
                changes = json.loads(body)
                for key, text in changes.items():
                    if text is None:
                        objects.data.pop(key, None)
                        continue
                    data = text.encode("latin-1")
                    objects.data[key] = (data, '"' + hashlib.md5(data).hexdigest() + '"', time.time())
            elif path == "/-/credentials":  # others than before
                objects.credentials = tuple(json.loads(body))
            if path == "/-/age":  # all that is there becomes older by so many seconds
                for key, (data, etag, modified) in list(objects.data.items()):
                    objects.data[key] = (data, etag, modified - json.loads(body))
            told = {"/-/read": lambda: objects.data[json.loads(body)][0].decode("latin-1"),
                    "/-/requests": lambda: objects.requests,
                    "/-/keys": lambda: sorted(objects.data),
                    "/-/ages": lambda: {key: time.time() - modified for key, (_, _, modified) in objects.data.items()},
                    "/-/unmet": lambda: [trouble for trouble in objects.trouble if "is_met" not in trouble]}.get(path, dict)()
            told = json.dumps(told).encode()
        self.answer(200, told)

    def do_late(self, path, headers, body):
        if gateway:
            self.ask_gateway(headers, body)
            return
        try:
            objects.put(path.partition("/")[2].partition("/")[2], body, headers.get("if-none-match"), headers.get("if-match"))
        except Refusal:
            pass

    def ask_gateway(self, headers, body):
        connection = http.client.HTTPConnection(gateway, timeout=60)
        connection.request(self.command, self.path, body=body, headers=headers)
        answer = connection.getresponse()
        data = answer.read()
        connection.close()
        return answer, data

    def do(self, path, query, headers, body):
        if gateway:
            answer, data = self.ask_gateway(headers, body)
            told = {name: answer.headers[name] for name in ("ETag", "Last-Modified", "Content-Range") if name in answer.headers}
            return self.conclude(answer.status, data, **told)
        _, bucket, key = (path + "/").split("/", 2)
        key = key[:-1]
        if bucket != BUCKET:
            raise Refusal(404, "NoSuchBucket", "there is no such bucket")
        if self.command == "PUT":
            return self.do_put(key, headers, body)
        if self.command == "DELETE" and key:
            objects.remove(key)
            return self.conclude(204)
        if self.command == "GET" and key:
            return self.do_get(key, headers)
        if self.command == "GET" and query.get("list-type") == "2":
            return self.do_list(query)
        raise Refusal(501, "NotImplemented")

    def conclude(self, status, body=b"", **headers):
        what = self.met.get("what")
        if self.command == "PUT" and status == 200:
            objects.changes[urllib.parse.unquote(self.path)] += 1
        if what == "lose-answer":
            return self.hang_up()
        return self.answer(status, body, cut=what == "cut-body" and len(body) > 0, **headers)

    def do_put(self, key, headers, body):
        result = b""
        if "x-amz-copy-source" in headers:
            source = urllib.parse.unquote(headers["x-amz-copy-source"]).lstrip("/")
            body = objects.get(source.partition("/")[2])[0]
            result = b"<CopyObjectResult/>"
        etag = objects.put(key, body, headers.get("if-none-match"), headers.get("if-match"))
        self.conclude(200, result, ETag=etag)

    def do_get(self, key, headers):
        data, etag, modified = objects.get(key)
        told = {"ETag": etag, "Last_Modified": email.utils.formatdate(modified, usegmt=True)}
        wanted = re.fullmatch(r"bytes=(\d+)-(\d+)", headers.get("range", ""))
        if not wanted:
            return self.conclude(200, data, **told)
        first, last = int(wanted[1]), min(int(wanted[2]), len(data) - 1)
        if first >= len(data):
            raise Refusal(416, "InvalidRange")
        return self.conclude(206, data[first:last + 1], Content_Range=f"bytes {first}-{last}/{len(data)}", **told)

    def do_list(self, query):
        most = min(int(query.get("max-keys", 1000)), page_size)
        found, folded, more = objects.list(query.get("prefix", ""), query.get("delimiter", ""), query.get("continuation-token", ""), most)
        last = max([key for key, *_ in found] + folded, default="")
        parts = ["<?xml version='1.0' encoding='UTF-8'?><ListBucketResult xmlns='http://s3.amazonaws.com/doc/2006-03-01/'>",
                 f"<IsTruncated>{str(more).lower()}</IsTruncated>"]
        if more:
            parts.append(f"<NextContinuationToken>{escape(last)}</NextContinuationToken>")
        for key, data, etag, modified in found:
            date = datetime.datetime.fromtimestamp(modified, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%S.000Z")
            parts.append(f"<Contents><Key>{escape(key)}</Key><LastModified>{date}</LastModified><ETag>{escape(etag)}</ETag>"
                         f"<Size>{len(data)}</Size></Contents>")
        parts += [f"<CommonPrefixes><Prefix>{escape(common)}</Prefix></CommonPrefixes>" for common in folded]
        self.conclude(200, "".join(parts + ["</ListBucketResult>"]).encode())


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def __init__(self, *arguments):
        self.connections = set()
        self.is_gone = False
        self.queue = []  # connections to itself that nobody accepts
        super().__init__(*arguments)

    def process_request(self, request, client_address):
        self.connections.add(request)
        super().process_request(request, client_address)

    def shutdown_request(self, request):
        self.connections.discard(request)
        super().shutdown_request(request)

    def go(self, last_connection):
        self.is_gone = True
        self.shutdown()
        self.socket.listen(0)
        for _ in range(2):
            self.queue.append(socket.socket())
            self.queue[-1].setblocking(False)
            self.queue[-1].connect_ex(self.server_address)
        for connection in self.connections - {last_connection}:
            with contextlib.suppress(OSError):  # it has ended by itself
                connection.shutdown(socket.SHUT_RDWR)

    def handle_error(self, *_):  # connections that are cut are what tests are about
        if not isinstance(sys.exc_info()[1], (OSError, ssl.SSLError)):
            super().handle_error(*_)


objects = Objects()
page_size = 1000
takes_bare_etags = False
gateway = None  # "HOST:PORT"


def main():
    global page_size, takes_bare_etags, gateway
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--tls", nargs=2, metavar=("CERTIFICATE", "KEY"))
    parser.add_argument("--page-size", type=int, default=1000, help="keys in one answer to a list, at most")
    parser.add_argument("--bare-etags", action="store_true", help="want ETags in If-Match without their quotes, as Ceph's gateways do")
    parser.add_argument("--in-front-of", metavar="ENDPOINT", default="")
    options = parser.parse_args()
    gateway = options.in_front_of.partition("://")[2]
    page_size = options.page_size
    takes_bare_etags = options.bare_etags
    server = Server(("127.0.0.1", options.port), Handler)
    if options.tls:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*options.tls)
        server.socket = context.wrap_socket(server.socket, server_side=True)
    print(server.server_address[1], flush=True)
    server.serve_forever()
    threading.Event().wait()


if __name__ == "__main__":
    main()
