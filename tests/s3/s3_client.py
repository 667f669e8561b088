#!/usr/bin/env python3
"""A plain client of a service that speaks S3, by the environment that the image library reads (AWS_ENDPOINT_URL and so on).

Usage: s3_client.py make-bucket BUCKET
       s3_client.py list BUCKET [PREFIX]      prints keys
       s3_client.py get|delete BUCKET KEY     prints the object
       s3_client.py put BUCKET KEY            from standard input
"""
import concurrent.futures
import datetime
import hashlib
import http.client
import os
import sys
import threading
import urllib.parse
import xml.etree.ElementTree

from request_signature import encoded, encoded_query, signature


class S3Client:
    """For one thread; keeps its connection."""

    def __init__(self, environment=os.environ):
        self.host = urllib.parse.urlsplit(environment["AWS_ENDPOINT_URL"]).netloc
        self.region = environment["AWS_REGION"]
        self.access_key, self.secret_key = environment["AWS_ACCESS_KEY_ID"], environment["AWS_SECRET_ACCESS_KEY"]
        self.connection = http.client.HTTPConnection(self.host, timeout=60)

    def request(self, method, path, body=b"", query=(), **headers):
        """The answer, and its body, whatever its status. The names of headers have underscores here."""
        raw_path = encoded(path, kept="/")
        sent = {name.replace("_", "-"): value for name, value in headers.items()}
        sent |= {"host": self.host, "x-amz-date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y%m%dT%H%M%SZ"),
                 "x-amz-content-sha256": hashlib.sha256(body).hexdigest()}
        names = sorted(sent)
        signed = signature(method, raw_path, query, sent, names, self.region, self.secret_key)
        sent["authorization"] = (f"AWS4-HMAC-SHA256 Credential={self.access_key}/{sent['x-amz-date'][:8]}/{self.region}/s3/aws4_request,"
                                 f"SignedHeaders={';'.join(names)},Signature={signed}")
        self.connection.request(method, raw_path + ("?" + encoded_query(query) if query else ""), body=body, headers=sent)
        answer = self.connection.getresponse()
        return answer, answer.read()

    def done(self, *arguments, **headers):
        """The body of an answer of success; anything else is an exception."""
        answer, body = self.request(*arguments, **headers)
        if not 200 <= answer.status < 300:
            raise RuntimeError(f"{arguments[0]} {arguments[1]}: {answer.status} {body.decode(errors='replace')}")
        return body

    def keys(self, bucket, prefix=""):
        query = {"list-type": "2", "prefix": prefix}
        while query is not None:
            page = xml.etree.ElementTree.fromstring(self.done("GET", f"/{bucket}", b"", tuple(query.items())))
            for key in page.findall("{*}Contents/{*}Key"):
                yield key.text
            more = page.findtext("{*}NextContinuationToken")
            query = query | {"continuation-token": more} if more else None


def make_requests(requests, at_once):
    """Calls each with a client of the thread's own, so many at once."""
    own = threading.local()

    def make(request):
        if not hasattr(own, "client"):
            own.client = S3Client()
        request(own.client)

    with concurrent.futures.ThreadPoolExecutor(at_once) as threads:
        for _ in threads.map(make, requests):
            pass


def main():
    what, bucket, *key = sys.argv[1:]
    client = S3Client()
    path = "/".join(["", bucket, *key])
    if what == "list":
        print("\n".join(client.keys(bucket, *key)))
    elif what == "get":
        sys.stdout.buffer.write(client.done("GET", path))
    elif what == "put":
        client.done("PUT", path, sys.stdin.buffer.read())
    elif what == "make-bucket":
        client.done("PUT", path)
    elif what == "delete":
        client.done("DELETE", path)
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
